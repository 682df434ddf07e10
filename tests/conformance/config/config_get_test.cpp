// configGet: reads the configuration, or one section of it.

#include "config_fixture.h"

using namespace OrvaTest;

namespace {

class ConfigGet : public EorvaTest {};

}  // namespace

TEST_F(ConfigGet, NullFilterDeliversTheWholeFile) {
  storeConfig();
  Json::Value jIn;
  Json::Value jOut;
  EXPECT_EQ(configGet(jIn, jOut), 1);
  EXPECT_EQ(jOut, json(CONFIG));
  EXPECT_TRUE(jIn.isNull());
}

TEST_F(ConfigGet, FilterWithoutTypeDeliversTheWholeFile) {
  storeConfig();
  for (const char* szFilter : {"{}", "{'output_path': 1}"}) {
    Json::Value jIn = json(szFilter);
    Json::Value jOut;
    EXPECT_EQ(configGet(jIn, jOut), 1);
    EXPECT_EQ(jOut, json(CONFIG));
    EXPECT_EQ(jIn, json(szFilter));
  }
}

TEST_F(ConfigGet, TypeDeliversThatSection) {
  storeConfig();
  Json::Value jIn = json("{'type': 'eorvascheduler'}");
  Json::Value jOut;
  EXPECT_EQ(configGet(jIn, jOut), 1);
  EXPECT_EQ(jOut, json(CONFIG)["eorvascheduler"]);
}

TEST_F(ConfigGet, ReplacesTheOutValueAndMergesNothing) {
  storeConfig();
  Json::Value jIn = json("{'type': 'other'}");
  Json::Value jOut = json("{'old': true, 'n': 2}");
  EXPECT_EQ(configGet(jIn, jOut), 1);
  EXPECT_EQ(jOut, json("{'type': 'other', 'n': 1}"));
}

TEST_F(ConfigGet, DeliversASectionWhateverItIs) {
  storeConfig("{'list': [1], 'text': 'x', 'none': null}");
  for (const std::string strType : {"list", "text", "none"}) {
    Json::Value jIn(Json::objectValue);
    jIn["type"] = strType;
    Json::Value jOut(Json::objectValue);
    EXPECT_EQ(configGet(jIn, jOut), 1);
    EXPECT_EQ(jOut, storedConfig()[strType]);
  }
}

TEST_F(ConfigGet, UnknownTypeSetsTheOutValueToNull) {
  storeConfig();
  Json::Value jIn = json("{'type': 'EorvaScheduler'}");
  Json::Value jOut = json("{'old': true}");
  EXPECT_EQ(configGet(jIn, jOut), 0);
  EXPECT_TRUE(jOut.isNull());
}

TEST_F(ConfigGet, WithoutAFileTheOutValueStays) {
  blDebugOutput = true;
  expectDebug("no config file exist, path=" + CONFIG_PATH, UTIL);
  Json::Value jIn;
  Json::Value jOut = json("{'old': true}");
  EXPECT_EQ(configGet(jIn, jOut), 0);
  EXPECT_EQ(jOut, json("{'old': true}"));
}

TEST_F(ConfigGet, WithoutAFileTheTypeIsNotLookedAt) {
  Json::Value jIn = json("{'type': 5}");
  Json::Value jOut;
  EXPECT_EQ(configGet(jIn, jOut), 0);
  EXPECT_TRUE(jOut.isNull());
}

TEST_F(ConfigGet, FailsOnATypeThatIsNoString) {
  storeConfig();
  for (const char* szType : {"5", "null", "true", "['eorvascheduler']", "{}"}) {
    Json::Value jIn = json(std::string("{'type': ") + szType + "}");
    Json::Value jOut = json("{'old': true}");
    expectFailure("!jIn[\"type\"].isString()", UTIL);
    EXPECT_EQ(configGet(jIn, jOut), -1);
    EXPECT_EQ(jOut, json("{'old': true}"));
  }
}

TEST_F(ConfigGet, FailsOnAFilterThatIsNeitherObjectNorNullWithOrWithoutAFile) {
  for (const bool blFile : {false, true}) {
    if (blFile) {
      storeConfig();
    }
    for (const Json::Value& jWrong : {json("[]"), json("['type']"), Json::Value("type"), Json::Value(1)}) {
      Json::Value jIn = jWrong;
      Json::Value jOut;
      expectFailure("jIn.type() != Json::objectValue && jIn.type() != Json::nullValue", UTIL);
      EXPECT_EQ(configGet(jIn, jOut), -1);
      EXPECT_TRUE(jOut.isNull());
    }
  }
  EXPECT_THAT(fakes().systemCalls(), testing::IsEmpty());
}

TEST_F(ConfigGet, FailsOnAnOutValueThatIsNeitherObjectNorNullWithOrWithoutAFile) {
  for (const bool blFile : {false, true}) {
    if (blFile) {
      storeConfig();
    }
    for (const Json::Value& jWrong : {json("[]"), json("[1]"), Json::Value("x"), Json::Value(false)}) {
      Json::Value jIn;
      Json::Value jOut = jWrong;
      expectFailure("jOut.type() != Json::objectValue && jOut.type() != Json::nullValue", UTIL);
      EXPECT_EQ(configGet(jIn, jOut), -1);
      EXPECT_EQ(jOut, jWrong);
    }
  }
}

TEST_F(ConfigGet, ChecksTheFilterBeforeTheOutValue) {
  Json::Value jIn(Json::arrayValue);
  Json::Value jOut(Json::arrayValue);
  expectFailure("jIn.type() != Json::objectValue && jIn.type() != Json::nullValue", UTIL);
  EXPECT_EQ(configGet(jIn, jOut), -1);
}

TEST_F(ConfigGet, FailsOnAFileThatDoesNotParse) {
  for (const char* szContent : {"", "{", "{'a': 1} trailing", "{'a': 1, 'a': 2}"}) {
    storeConfig(szContent);
    Json::Value jIn;
    Json::Value jOut = json("{'old': true}");
    expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
    EXPECT_EQ(configGet(jIn, jOut), -1) << szContent;
    EXPECT_EQ(jOut, json("{'old': true}"));
  }
}

TEST_F(ConfigGet, WithoutATypeDeliversAnyDocument) {
  for (const char* szContent : {"[1]", "'text'", "7", "true", "null"}) {
    storeConfig(szContent);
    for (Json::Value jIn : {Json::Value(), json("{}")}) {
      Json::Value jOut = json("{'old': true}");
      EXPECT_EQ(configGet(jIn, jOut), 1) << szContent;
      EXPECT_EQ(jOut, json(szContent));
    }
  }
}

TEST_F(ConfigGet, DocumentThatIsNullHasNoSections) {
  storeConfig("null");
  Json::Value jIn = json("{'type': 'eorvascheduler'}");
  Json::Value jOut = json("{'old': true}");
  EXPECT_EQ(configGet(jIn, jOut), 0);
  EXPECT_TRUE(jOut.isNull());
}

TEST_F(ConfigGet, WithATypeFailsOnADocumentThatCannotHaveSections) {
  for (const char* szContent : {"[1]", "'text'", "7", "true"}) {
    storeConfig(szContent);
    Json::Value jIn = json("{'type': 'eorvascheduler'}");
    Json::Value jOut = json("{'old': true}");
    expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
    EXPECT_EQ(configGet(jIn, jOut), -1) << szContent;
    EXPECT_EQ(jOut, json("{'old': true}"));
  }
}

TEST_F(ConfigGet, FailsOnAFolderInPlaceOfTheFile) {
  std::filesystem::create_directory(CONFIG_PATH);
  Json::Value jIn;
  Json::Value jOut;
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
  EXPECT_EQ(configGet(jIn, jOut), -1);
}

TEST_F(ConfigGet, FailsWhenTheFileCannotBeOpenedOrRead) {
  storeConfig();
  for (const char* szCall : {"open", "fstat", "read"}) {
    fakes().fail(szCall).withErrno(EACCES);
    Json::Value jIn;
    Json::Value jOut;
    expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
    EXPECT_EQ(configGet(jIn, jOut), -1) << szCall;
  }
}

TEST_F(ConfigGet, GoesOnToTheFileAfterAnyOtherFailureThanAMissingOne) {
  storeConfig();
  fakes().fail(call("stat")).withErrno(EACCES);
  Json::Value jIn;
  Json::Value jOut;
  EXPECT_EQ(configGet(jIn, jOut), 1);
  EXPECT_EQ(jOut, json(CONFIG));
}

TEST_F(ConfigGet, EachFailingCallLeavesTheOutValueOrDeliversTheSection) {
  const int cCalls = failEachCall([] { storeConfig(); },
                                  [] {
                                    Json::Value jIn = json("{'type': 'other'}");
                                    Json::Value jOut = json("{'old': true}");
                                    const int iResult = configGet(jIn, jOut);
                                    EXPECT_TRUE(iResult == 1 || (iResult == -1 && fakes().faults() > 0));
                                    EXPECT_EQ(jOut, iResult == 1 ? json(CONFIG)["other"] : json("{'old': true}"));
                                  });
  EXPECT_GE(cCalls, 4);
}
