// recListRelateEx: checks of the arguments, in both directions.

#include "catalogue_fixture.h"

using namespace OrvaTest;

namespace {

class WalkArguments : public CatalogueTest {};

}  // namespace

TEST_F(WalkArguments, AreCheckedInTheirOrder) {
  Json::Value jWrong("text");
  Json::Value jArray;
  Json::Value jObject(Json::objectValue);
  Json::Value jNumber = json("{'task_name': 17}");
  const std::string strOutCheck = "jRecArrayOut.type() != Json::arrayValue && jRecArrayOut.type() != Json::nullValue";
  for (const bool blBottomUp : {false, true}) {
    const auto walkWith = [&](OrvaJsonDbApi* pApi, Json::Value& jParam, Json::Value& jOut, sqlite3* pDb) {
      EXPECT_EQ(recListRelateEx(pApi, jParam, jOut, pDb, blBottomUp, "", true), -1);
    };
    expectFailure("!pApi", LIB);
    walkWith(nullptr, jWrong, jWrong, nullptr);
    expectFailure(strOutCheck, LIB);
    walkWith(m_pApi, jWrong, jWrong, nullptr);
    expectFailure("!pDb", LIB);
    walkWith(m_pApi, jWrong, jArray, nullptr);
    expectFailure("jRecParam.type() != Json::objectValue", LIB);
    walkWith(m_pApi, jWrong, jArray, m_pDb);
    expectFailure("!jRecParam.isMember(\"task_name\")", LIB);
    walkWith(m_pApi, jObject, jArray, m_pDb);
    expectFailure("!jRecParam[\"task_name\"].isString()", LIB);
    walkWith(m_pApi, jNumber, jArray, m_pDb);
  }
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(WalkArguments, ResultMustBeAnArrayOrNull) {
  for (const char* szOut : {"{}", "{'a': 1}", "17", "'text'", "false"}) {
    Json::Value jOut = json(szOut);
    expectFailure("jRecArrayOut.type() != Json::arrayValue && jRecArrayOut.type() != Json::nullValue", LIB);
    EXPECT_EQ(walk(true, "a", jOut), -1) << szOut;
    EXPECT_EQ(jOut, json(szOut));
  }
}

TEST_F(WalkArguments, RequestMustBeAnObject) {
  for (const char* szParam : {"null", "[]", "['task_name']", "'task_name'", "17"}) {
    Json::Value jParam = json(szParam);
    Json::Value jOut;
    expectFailure("jRecParam.type() != Json::objectValue", LIB);
    EXPECT_EQ(recListRelateEx(m_pApi, jParam, jOut, m_pDb, true, "", true), -1) << szParam;
  }
}

TEST_F(WalkArguments, NameMustBeAString) {
  for (const char* szName : {"null", "true", "1.5", "['a']", "{'a': 1}"}) {
    Json::Value jParam(Json::objectValue);
    jParam["task_name"] = json(szName);
    Json::Value jOut;
    expectFailure("!jRecParam[\"task_name\"].isString()", LIB);
    EXPECT_EQ(recListRelateEx(m_pApi, jParam, jOut, m_pDb, false, "", true), -1) << szName;
  }
}

TEST_F(WalkArguments, OtherMembersOfTheRequestAreIgnoredAndKept) {
  putTask("a", "[b]");
  putTask("b");
  Json::Value jParam = json("{'task_name': 'a', 'depend_on_task': 5, 'event': [], 'relate_type': 'x'}");
  const Json::Value jBefore = jParam;
  Json::Value jOut;
  EXPECT_EQ(recListRelateEx(m_pApi, jParam, jOut, m_pDb, true, "", true), 0);
  EXPECT_THAT(names(jOut), testing::ElementsAre("b"));
  EXPECT_EQ(jParam, jBefore);
}

TEST_F(WalkArguments, EarlierResultIsReplaced) {
  putTask("a", "[b]");
  putTask("b");
  for (const bool blBottomUp : {false, true}) {
    for (const char* szBefore : {"null", "[]", "[1, {'task_name': 'b'}]"}) {
      Json::Value jOut = json(szBefore);
      EXPECT_EQ(walk(blBottomUp, blBottomUp ? "a" : "b", jOut), 0);
      EXPECT_EQ(jOut.size(), 1U) << szBefore;
    }
  }
}

TEST_F(WalkArguments, LastFlagChangesNothing) {
  putTask("a", "[b]");
  putTask("b", "[c]");
  putTask("c");
  for (const bool blBottomUp : {false, true}) {
    for (const char* szEvent : {"", "bootup"}) {
      Json::Value jWith;
      Json::Value jWithout;
      EXPECT_EQ(walk(blBottomUp, "b", jWith, szEvent, true), 0);
      EXPECT_EQ(walk(blBottomUp, "b", jWithout, szEvent, false), 0);
      EXPECT_EQ(jWith, jWithout);
    }
  }
}
