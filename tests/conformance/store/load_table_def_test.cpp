// loadTableDef: reads the installed definitions of both tables.

#include <cerrno>
#include <filesystem>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string DEF_PATH = "/usr/orva/share/eorvascheduler/eorvascheduler-table-def.json";
const std::string PARSE_CHECK = "!jTableDef.fromFile(string(EORVA_SCHEDULER_TABLE_DEFINE_PATH))";

class LoadTableDef : public EorvaTest {
protected:
  // The parsed document is logged after the failed check.
  void expectRefused(const std::string& strCheck, const Json::Value& jParsed) {
    expectFailure(strCheck, UTIL);
    expectLine("jTableDef=" + compactJson(jParsed), UTIL);
    Json::Value jTableDef = json("{'old': true}");
    EXPECT_EQ(loadTableDef(jTableDef), -1);
    EXPECT_EQ(jTableDef, jParsed);
  }
};

}  // namespace

TEST_F(LoadTableDef, DeliversTheWholeDocumentWhateverTheMembersAre) {
  for (const char* szDocument : {"{'task': {'a': [1, 2.5]}, 'task_result': {}}", "{'task': null, 'task_result': null}",
                                 "{'task': [], 'task_result': 'x', 'other': {'task': 1}}"}) {
    writeFile(DEF_PATH, compactJson(json(szDocument)));
    Json::Value jTableDef = json("{'old': true}");
    EXPECT_EQ(loadTableDef(jTableDef), 0);
    EXPECT_EQ(jTableDef, json(szDocument));
  }
}

TEST_F(LoadTableDef, ReadsTheDefinitionsThatAreInstalled) {
  installShareFiles();
  Json::Value jTableDef;
  EXPECT_EQ(loadTableDef(jTableDef), 0);
  EXPECT_TRUE(jTableDef["task"].isObject());
  EXPECT_TRUE(jTableDef["task_result"].isObject());
}

TEST_F(LoadTableDef, FailsWithoutAFile) {
  expectRefused(PARSE_CHECK, Json::Value());
}

TEST_F(LoadTableDef, FailsOnAFileThatDoesNotParse) {
  for (const char* szContent : {"", "{", "{} {}", "{\"task\":1,\"task\":2,\"task_result\":3}", "no json"}) {
    writeFile(DEF_PATH, szContent);
    expectRefused(PARSE_CHECK, Json::Value());
  }
}

TEST_F(LoadTableDef, FailsOnAFolderInPlaceOfTheFile) {
  std::filesystem::create_directories(DEF_PATH);
  expectRefused(PARSE_CHECK, Json::Value());
}

TEST_F(LoadTableDef, FailsOnOtherTypesThanAnObject) {
  for (const char* szDocument : {"[]", "['task', 'task_result']", "'task'", "null", "17", "true"}) {
    writeFile(DEF_PATH, compactJson(json(szDocument)));
    expectRefused("jTableDef.type() != Json::objectValue", json(szDocument));
  }
}

TEST_F(LoadTableDef, FailsWithoutTaskAndThenWithoutTaskResult) {
  writeFile(DEF_PATH, "{}");
  expectRefused("!jTableDef.isMember(\"task\")", json("{}"));
  writeFile(DEF_PATH, "{\"task_result\": {\"b\": 1}}");
  expectRefused("!jTableDef.isMember(\"task\")", json("{'task_result': {'b': 1}}"));
  writeFile(DEF_PATH, "{\"task\": {\"a\": 1}}");
  expectRefused("!jTableDef.isMember(\"task_result\")", json("{'task': {'a': 1}}"));
}

TEST_F(LoadTableDef, EachFailingCallIsAFailureOrGivesTheWholeDocument) {
  const std::string strDocument = R"({"task":{},"task_result":{}})";
  const int cCalls = failEachCall([&] { writeFile(DEF_PATH, strDocument); },
                                  [&] {
                                    Json::Value jTableDef;
                                    const int iResult = loadTableDef(jTableDef);
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
                                    EXPECT_EQ(compactJson(jTableDef), iResult == 0 ? strDocument : "null");
                                  });
  EXPECT_GE(cCalls, 3);
}
