// configInit, configGet and configSet: the sections of the configuration file.

#include <algorithm>
#include <filesystem>
#include <sys/stat.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string CONFIG_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
const std::string CONFIG =
    "{'eorvascheduler': {'type': 'eorvascheduler', 'output_path': 'logs', 'extra': [1, null]},"
    " 'other': {'type': 'other', 'n': 1}}";

std::string quoted(std::string strText) {
  std::replace(strText.begin(), strText.end(), '\'', '"');
  return strText;
}

void storeConfig(const std::string& strText = CONFIG) {
  writeFile(CONFIG_PATH, quoted(strText));
}

Json::Value storedConfig() {
  return json(readFile(CONFIG_PATH));
}

std::string call(const std::string& strName) {
  return strName + "(" + CONFIG_PATH;
}

// The files beside the configuration: a draft that was left behind would show here.
std::vector<std::string> filesInFolder() {
  std::vector<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator("/usr/orva/etc/eorvascheduler")) {
    names.push_back(entry.path().filename());
  }
  return names;
}

class ConfigInit : public EorvaTest {};
class ConfigGet : public EorvaTest {};
class ConfigSet : public EorvaTest {};

}  // namespace

TEST_F(ConfigInit, CreatesTheSectionWhenThereIsNoFile) {
  EXPECT_EQ(configInit(), 0);
  EXPECT_EQ(storedConfig(), json("{'eorvascheduler': {'type': 'eorvascheduler'}}"));
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
  EXPECT_EQ(filesInFolder().size(), 1U);
}

TEST_F(ConfigInit, CreatesWithTheSameModeUnderATightUmask) {
  ::umask(077);
  EXPECT_EQ(configInit(), 0);
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
}

TEST_F(ConfigInit, LeavesAnExistingFileAsItIs) {
  for (const std::string strContent : {"{\"a\":1}", "", "{not json"}) {
    writeFile(CONFIG_PATH, strContent, 0600);
    EXPECT_EQ(configInit(), 0);
    EXPECT_EQ(readFile(CONFIG_PATH), strContent);
    EXPECT_EQ(fileMode(CONFIG_PATH), 0600U);
  }
  EXPECT_THAT(fakes().systemCalls(), testing::Each(testing::StartsWith("access(")));
}

TEST_F(ConfigInit, LeavesAFileThatItMayNotExamineAsItIs) {
  fakes().fail("access").withErrno(EACCES);
  EXPECT_EQ(configInit(), 0);
  EXPECT_FALSE(fileExists(CONFIG_PATH));
}

TEST_F(ConfigInit, FailsWhenTheSectionCannotBeStored) {
  fakes().fail("rename").withErrno(EROFS);
  expectFailure("!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)", UTIL).withErrno(EROFS);
  expectFailure("0 > configSet(jIn)", UTIL);
  EXPECT_EQ(configInit(), -1);
  EXPECT_THAT(filesInFolder(), testing::IsEmpty());
}

TEST_F(ConfigInit, EachFailingCallLeavesTheWholeSectionOrNoFile) {
  const int cCalls = failEachCall([] { std::filesystem::remove(CONFIG_PATH); },
                                  [] {
                                    const int iResult = configInit();
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
                                    if (fileExists(CONFIG_PATH)) {
                                      EXPECT_EQ(storedConfig(), json("{'eorvascheduler': {'type': 'eorvascheduler'}}"));
                                    }
                                    EXPECT_LE(filesInFolder().size(), 1U);
                                  });
  EXPECT_GE(cCalls, 9);
}

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
  for (const char* szContent : {"", "{", "{'a': 1} trailing", "{'a': 1, 'a': 2}", "[1]", "'text'", "null"}) {
    storeConfig(szContent);
    Json::Value jIn;
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

TEST_F(ConfigSet, FailsOnWhatIsNoObject) {
  for (const Json::Value& jWrong : {Json::Value(), json("[]"), Json::Value("type"), Json::Value(1.5)}) {
    Json::Value jIn = jWrong;
    expectFailure("jIn.type() != Json::objectValue", UTIL);
    EXPECT_EQ(configSet(jIn), -1);
  }
  EXPECT_FALSE(fileExists(CONFIG_PATH));
}

TEST_F(ConfigSet, FailsWithoutAType) {
  Json::Value jIn = json("{'output_path': 'logs'}");
  expectFailure("!jIn.isMember(\"type\")", UTIL);
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_FALSE(fileExists(CONFIG_PATH));
}

TEST_F(ConfigSet, FailsOnATypeThatIsNoString) {
  for (const char* szType : {"1", "null", "{}", "[]", "false"}) {
    Json::Value jIn = json(std::string("{'type': ") + szType + "}");
    expectFailure("!jIn[\"type\"].isString()", UTIL);
    EXPECT_EQ(configSet(jIn), -1);
  }
  EXPECT_FALSE(fileExists(CONFIG_PATH));
}

TEST_F(ConfigSet, OnAMissingFileStoresOnlyTheGivenSection) {
  Json::Value jIn = json("{'type': 'other', 'n': {'deep': [1, 2.5, null, true]}}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(storedConfig(), json("{'other': {'type': 'other', 'n': {'deep': [1, 2.5, null, true]}}}"));
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
  EXPECT_EQ(filesInFolder().size(), 1U);
}

TEST_F(ConfigSet, DropsTheKeysThatTheNewSectionLacksAndKeepsOtherSections) {
  storeConfig();
  Json::Value jIn = json("{'type': 'eorvascheduler', 'enable_output': false}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(storedConfig()["eorvascheduler"], json("{'type': 'eorvascheduler', 'enable_output': false}"));
  EXPECT_EQ(storedConfig()["other"], json(CONFIG)["other"]);
  EXPECT_EQ(jIn, json("{'type': 'eorvascheduler', 'enable_output': false}"));
}

TEST_F(ConfigSet, LinkInPlaceOfTheFileIsKeptAndItsFileReplaced) {
  const TempDir dir;
  writeFile(dir.path("elsewhere.json"), quoted(CONFIG));
  std::filesystem::create_symlink(dir.path("elsewhere.json"), CONFIG_PATH);
  Json::Value jIn = json("{'type': 'other', 'n': 2}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_TRUE(std::filesystem::is_symlink(CONFIG_PATH));
  EXPECT_EQ(json(readFile(dir.path("elsewhere.json")))["other"], jIn);
}

TEST_F(ConfigSet, StoresUnderAnyName) {
  Json::Value jIn = json("{'type': ''}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(storedConfig(), json("{'': {'type': ''}}"));
}

TEST_F(ConfigSet, SetsTheModeAfterEveryWrite) {
  writeFile(CONFIG_PATH, quoted(CONFIG), 0600);
  Json::Value jIn = json("{'type': 'other'}");
  EXPECT_EQ(configSet(jIn), 0);
  EXPECT_EQ(fileMode(CONFIG_PATH), 0644U);
  EXPECT_EQ(fakes().systemCalls().back(), call("chmod") + ", 0644)");
}

TEST_F(ConfigSet, FailsOnADamagedFileAndLeavesItAsItIs) {
  storeConfig("{damaged");
  Json::Value jIn = json("{'type': 'eorvascheduler'}");
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
  expectFailure("0 > configGet(jNull, jConfig)", UTIL);
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_EQ(readFile(CONFIG_PATH), "{damaged");
}

TEST_F(ConfigSet, AFailedWriteLeavesTheOldFileWhole) {
  for (const char* szCall : {"mkostemp", "write", "fchmod", "fsync", "rename"}) {
    storeConfig();
    fakes().fail(szCall).withErrno(ENOSPC);
    Json::Value jIn = json("{'type': 'eorvascheduler'}");
    expectFailure("!jConfig.toFile(EORVA_SCHEDULER_CONFIG_PATH, true)", UTIL).withErrno(ENOSPC);
    EXPECT_EQ(configSet(jIn), -1) << szCall;
    EXPECT_EQ(storedConfig(), json(CONFIG)) << szCall;
    EXPECT_EQ(filesInFolder().size(), 1U) << szCall;
  }
}

TEST_F(ConfigSet, AFailedModeIsAFailureAlthoughTheFileIsWritten) {
  storeConfig();
  fakes().fail(call("chmod")).withErrno(EPERM);
  Json::Value jIn = json("{'type': 'other', 'n': 2}");
  expectFailure("0 > chmod(EORVA_SCHEDULER_CONFIG_PATH, 0644)", UTIL).withErrno(EPERM);
  EXPECT_EQ(configSet(jIn), -1);
  EXPECT_EQ(storedConfig()["other"], json("{'type': 'other', 'n': 2}"));
}

TEST_F(ConfigSet, EachFailingCallLeavesTheOldFileOrTheNewOne) {
  const int cCalls = failEachCall([] { storeConfig(); },
                                  [] {
                                    Json::Value jIn = json("{'type': 'other', 'n': 2}");
                                    const int iResult = configSet(jIn);
                                    const bool blNew = storedConfig()["other"] == jIn;
                                    EXPECT_TRUE(blNew || storedConfig() == json(CONFIG));
                                    EXPECT_TRUE(iResult == 0 || fakes().faults() > 0);
                                    EXPECT_TRUE(blNew || iResult == -1);
                                    EXPECT_EQ(filesInFolder().size(), 1U);
                                  });
  EXPECT_GE(cCalls, 8);
}
