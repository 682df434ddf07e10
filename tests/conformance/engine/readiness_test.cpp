// getNextReadyTask: finds the tasks whose prerequisites have all ended.

#include "engine/readiness.h"

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

const std::string MALFORMED = "string::npos == (posEnd = strTaskDepend.find(\"]\", posStart))";

class NextReadyTask : public RunsTest {
protected:
  // The names of the ready tasks after "a" has ended, in the array's order.
  std::vector<std::string> readyAfterA(const std::vector<std::string>& complete = {}, int iResult = 0) {
    std::vector<Json::Value> qComplete;
    for (const std::string& strName : complete) {
      Json::Value jDone;
      jDone["task_name"] = strName;
      qComplete.push_back(jDone);
    }
    Json::Value jTask = json("{'task_name': 'a'}");
    Json::Value jOut(Json::arrayValue);
    m_iResult = getNextReadyTask(qComplete, jTask, m_pApi, m_pApiResult, m_pDb, jOut);
    if (iResult == 0) {
      EXPECT_EQ(m_iResult, static_cast<int>(jOut.size()));
    } else {
      EXPECT_EQ(m_iResult, iResult);
    }
    std::vector<std::string> names;
    for (const Json::Value& jReady : jOut) {
      names.push_back(jReady["task_name"].asString());
    }
    return names;
  }

  // A record that the walk finds, with any dependency list.
  static void listed(const Json::Value& jRecords) { fakes().answer("recList(task,", 0, jRecords); }

  int m_iResult = 0;
};

}  // namespace

TEST_F(NextReadyTask, ChecksItsArgumentsInTheirOrder) {
  Json::Value jNoTask("a");
  Json::Value jTask = json("{'task_name': 'a'}");
  Json::Value jNoArray(Json::objectValue);
  expectFailure("jTask.type() != Json::objectValue", LIB);
  EXPECT_EQ(getNextReadyTask({}, jNoTask, nullptr, nullptr, nullptr, jNoArray), -1);
  expectFailure("!pApi", LIB);
  EXPECT_EQ(getNextReadyTask({}, jTask, nullptr, nullptr, nullptr, jNoArray), -1);
  expectFailure("!pApiResult", LIB);
  EXPECT_EQ(getNextReadyTask({}, jTask, m_pApi, nullptr, nullptr, jNoArray), -1);
  expectFailure("!pDb", LIB);
  EXPECT_EQ(getNextReadyTask({}, jTask, m_pApi, m_pApiResult, nullptr, jNoArray), -1);
  for (const Json::Value& jWrong : {Json::Value(), json("{}"), Json::Value("x")}) {
    Json::Value jOut = jWrong;
    expectFailure("jTaskArrayOut.type() != Json::arrayValue", LIB);
    EXPECT_EQ(getNextReadyTask({}, jTask, m_pApi, m_pApiResult, m_pDb, jOut), -1);
    EXPECT_EQ(jOut, jWrong);
  }
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(NextReadyTask, FailsWhenTheDependantsCannotBeListed) {
  fakes().fail("recList");
  expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
  expectFailure("0 > recListRelateEx(pApi, jFilter, jArray, pDb, false, string(\"\") , false)", LIB);
  EXPECT_THAT(readyAfterA({}, -1), testing::IsEmpty());
}

TEST_F(NextReadyTask, FailsOnATaskWithoutAName) {
  Json::Value jTask(Json::objectValue);
  Json::Value jOut(Json::arrayValue);
  expectFailure("!jRecParam[\"task_name\"].isString()", LIB);
  expectFailure("0 > recListRelateEx(pApi, jFilter, jArray, pDb, false, string(\"\") , false)", LIB);
  EXPECT_EQ(getNextReadyTask({}, jTask, m_pApi, m_pApiResult, m_pDb, jOut), -1);
}

TEST_F(NextReadyTask, ATaskWithoutDependantsHasNoneReady) {
  store(scriptTask("a"));
  EXPECT_THAT(readyAfterA(), testing::IsEmpty());
  EXPECT_EQ(m_iResult, 0);
}

TEST_F(NextReadyTask, AppendsTheWholeRecordAndReturnsTheSizeOfTheArray) {
  Json::Value jReady = dependant("b", "[a]");
  jReady["last_exit_info"] = exitInfo("normal", 3);
  store(jReady);
  Json::Value jTask = json("{'task_name': 'a'}");
  Json::Value jOut = json("[1, 2]");
  EXPECT_EQ(getNextReadyTask({}, jTask, m_pApi, m_pApiResult, m_pDb, jOut), 3);
  EXPECT_EQ(jOut, listOf({json("1"), json("2"), jReady}));
}

TEST_F(NextReadyTask, ReturnsZeroWhenNothingWasAppendedToAFilledArray) {
  store(dependant("b", "[a][c]"));
  Json::Value jTask = json("{'task_name': 'a'}");
  Json::Value jOut = json("[1, 2]");
  EXPECT_EQ(getNextReadyTask({}, jTask, m_pApi, m_pApiResult, m_pDb, jOut), 0);
  EXPECT_EQ(jOut.size(), 2U);
}

TEST_F(NextReadyTask, ListsBreadthFirst) {
  store(dependant("b", "[a]"));
  store(dependant("c", "[a]"));
  store(dependant("d", "[b]"));
  EXPECT_THAT(readyAfterA({"b"}), testing::ElementsAre("b", "c", "d"));
}

TEST_F(NextReadyTask, OneReachableOnlyThroughUnfinishedTasksIsNotReady) {
  store(dependant("b", "[a]"));
  store(dependant("c", "[b]"));
  EXPECT_THAT(readyAfterA(), testing::ElementsAre("b"));
}

TEST_F(NextReadyTask, APrerequisiteIsMetByTheTaskItselfOrByACompleteOne) {
  store(dependant("b", "[a][x][y]"));
  EXPECT_THAT(readyAfterA(), testing::IsEmpty());
  EXPECT_THAT(readyAfterA({"x"}), testing::IsEmpty());
  EXPECT_THAT(readyAfterA({"y", "z", "x"}), testing::ElementsAre("b"));
}

TEST_F(NextReadyTask, ComparesNamesByteForByteThoughTheQueryDoesNot) {
  store(dependant("upper", "[A]"));
  store(dependant("blank", "[a ]"));
  EXPECT_THAT(readyAfterA(), testing::IsEmpty());
  EXPECT_THAT(readyAfterA({"X"}), testing::IsEmpty());
  EXPECT_THAT(readyAfterA({"A"}), testing::ElementsAre("upper"));
}

TEST_F(NextReadyTask, ATaskThatMatchesOnlyAsAPatternIsNotReady) {
  store(dependant("b", "[taskX1]"));
  Json::Value jTask = json("{'task_name': 'task_1'}");
  Json::Value jOut(Json::arrayValue);
  EXPECT_EQ(getNextReadyTask({}, jTask, m_pApi, m_pApiResult, m_pDb, jOut), 0);
}

TEST_F(NextReadyTask, SkipsOneWhoseEnableIsNoBool) {
  for (const char* szEnable : {"1", "null", "'true'", "[]", "{}"}) {
    Json::Value jTask = dependant("b", "[a]");
    jTask["enable"] = json(szEnable);
    store(jTask);
    expectLine("!jArray[i][\"enable\"].isBool()", LIB);
    EXPECT_THAT(readyAfterA(), testing::IsEmpty());
  }
}

TEST_F(NextReadyTask, SkipsADisabledOneSilentlyAndTakesOneWithoutEnable) {
  Json::Value jDisabled = dependant("b", "[a]");
  jDisabled["enable"] = false;
  store(jDisabled);
  Json::Value jPlain = dependant("c", "[a]");
  jPlain.removeMember("enable");
  store(jPlain);
  EXPECT_THAT(readyAfterA(), testing::ElementsAre("c"));
}

TEST_F(NextReadyTask, SkipsOneWithoutADependencyListSilently) {
  listed(json("[{'task_name': 'b', 'enable': true}]"));
  EXPECT_THAT(readyAfterA(), testing::IsEmpty());
}

TEST_F(NextReadyTask, SkipsOneWhoseDependencyListIsNoString) {
  for (const char* szWrong : {"null", "1", "true", "['a']", "{}"}) {
    listed(json(std::string("[{'task_name': 'b', 'depend_on_task': ") + szWrong + "}]"));
    expectLine("!jArray[i][\"depend_on_task\"].isString()", LIB);
    EXPECT_THAT(readyAfterA(), testing::IsEmpty());
  }
}

TEST_F(NextReadyTask, SkipsOneWhoseDependencyListIsEmpty) {
  listed(json("[{'task_name': 'b', 'depend_on_task': ''}]"));
  expectLine("strTaskDepend.empty()", LIB);
  EXPECT_THAT(readyAfterA(), testing::IsEmpty());
}

TEST_F(NextReadyTask, ASkippedOneDoesNotKeepTheOthersFromIt) {
  listed(
      json("[{'task_name': 'b', 'depend_on_task': ''}, {'task_name': 'c', 'depend_on_task': 5},"
           " {'task_name': 'd', 'depend_on_task': '[a]', 'enable': 'yes'},"
           " {'task_name': 'e', 'depend_on_task': '[a]'}]"));
  expectLine("strTaskDepend.empty()", LIB);
  expectLine("!jArray[i][\"depend_on_task\"].isString()", LIB);
  expectLine("!jArray[i][\"enable\"].isBool()", LIB);
  EXPECT_THAT(readyAfterA(), testing::ElementsAre("e"));
}

TEST_F(NextReadyTask, ReadsTheNamesOutOfTheBrackets) {
  const struct {
    const char* szDepend;
    std::vector<std::string> complete;
    bool blReady;
  } rows[] = {
      {"[a][b]", {}, false}, {"[a][b]", {"b"}, true},    {"[a]x[b]", {"b"}, true}, {"[a]x[b]", {"x"}, false},
      {"x", {}, true},       {"x[a]y", {}, true},        {"[]", {}, false},        {"[a][]", {"b"}, false},
      {"]a[a]", {}, true},   {"[[a]", {}, false},        {"[[a]", {"[a"}, true},   {"[ a]", {}, false},
      {"[a]]", {}, true},    {"[a\\u0000b]", {}, false},
  };
  for (const auto& row : rows) {
    listed(json(std::string("[{'task_name': 'b', 'depend_on_task': '") + row.szDepend + "'}]"));
    EXPECT_EQ(!readyAfterA(row.complete).empty(), row.blReady) << row.szDepend;
  }
}

TEST_F(NextReadyTask, AnOpenBracketFailsAndKeepsEarlierTasks) {
  store(dependant("b", "[a]"));
  store(dependant("c", "[a][b"));
  store(dependant("d", "[a]"));
  expectFailure(MALFORMED, LIB);
  EXPECT_THAT(readyAfterA({}, -1), testing::ElementsAre("b"));
}

TEST_F(NextReadyTask, AnOpenBracketFailsThoughTheNamesBeforeItAreUnmet) {
  store(dependant("b", "[a][x][y"));
  expectFailure(MALFORMED, LIB);
  EXPECT_THAT(readyAfterA({}, -1), testing::IsEmpty());
}

TEST_F(NextReadyTask, WritesItsChecksInDebugLines) {
  blDebugOutput = true;
  store(dependant("b", "[a][x][y]"));
  store(dependant("c", "[a]"));
  expectDebug("task=b checking depend=a", LIB);
  expectDebug("task=b checking depend=x", LIB);
  expectDebug("task[b] wait for task[x]", LIB);
  expectDebug("task=b is not ready to run", LIB);
  expectDebug("task=c checking depend=a", LIB);
  expectDebug("task=c is ready to run", LIB);
  EXPECT_THAT(readyAfterA(), testing::ElementsAre("c"));
  for (const LogLine& line : logLines()) {
    EXPECT_EQ(line.strText.find("checking depend=y"), std::string::npos) << "it stops at the first unmet one";
  }
}

TEST_F(NextReadyTask, AsksForDependantsWithoutAnEvent) {
  readyAfterA();
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("recList(task, {\"orvaSqlWhereFilter\":\"depend_on_task like '%[a]%'\"})"));
}
