// runTaskArray: starting the tasks of a list and polling their children. The children are simulated.

#include "engine/runner.h"

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

const Json::Value DONE = exitInfo("normal", 0);
const std::string NOT_STARTED = "0 > (pid=runTask(jCurr, jEvent, pApi, pApiResult, pDb, jConfig, jResult))";

class RunTaskArray : public RunsTest {
protected:
  int runArray(const Json::Value& jTasks, bool blRunDependants = false) {
    Json::Value jTaskList = jTasks;
    Json::Value jEvent = json("{'event_fire_time': 5, 'trigger_event': 'bootup', 'run_time_env': {'x': 1}}");
    const int iResult = runTaskArray(jTaskList, jEvent, m_pApi, m_pApiResult, m_pDb, blRunDependants);
    EXPECT_EQ(jTaskList, jTasks) << "the caller's list";
    return iResult;
  }

  void expectFailedLaunch() {
    expectDirectLine("OpType is not script [none]", LIB);
    expectFailure("0 >= (pid = forkRunCmd(jTask, jConfig, jResult))", LIB);
    expectLine(NOT_STARTED, LIB);
  }
};

Json::Value brokenTask(const std::string& strName) {
  Json::Value jTask = scriptTask(strName);
  jTask["operation_type"] = "none";
  return jTask;
}

// A task that is already running and allows no second run.
Json::Value blockedTask(const std::string& strName) {
  Json::Value jTask = scriptTask(strName);
  jTask["run_the_same_time"] = false;
  jTask["status"] = json("{'running': [4242]}");
  fakes().alivePids.insert(4242);
  return jTask;
}

}  // namespace

TEST_F(RunTaskArray, FailsOnAListThatIsNoArray) {
  for (const Json::Value& jWrong : {Json::Value(), json("{}"), Json::Value("a"), json("1")}) {
    expectFailure("jTaskList.type() != Json::arrayValue", LIB);
    EXPECT_EQ(runArray(jWrong), -1);
  }
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(RunTaskArray, FailsWithoutStartingAnythingWhenTheConfigurationCannotBeRead) {
  writeFile(CONFIG_PATH, "{");
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
  expectFailure("0 > configGet(jFilter, jConfig)", LIB);
  EXPECT_EQ(runArray(listOf({store(scriptTask("a"))})), -1);
  EXPECT_THAT(started(), testing::IsEmpty());
}

TEST_F(RunTaskArray, ReadsTheConfigurationOnceForAllItsRuns) {
  fakes().pretendChildren(DONE);
  keepOutput();
  const std::string strFolder = runFolder("a");
  EXPECT_EQ(runArray(listOf({store(scriptTask("a")), store(scriptTask("b")), store(scriptTask("c"))})), 0);
  const auto calls = fakes().systemCalls();
  EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                          [](const auto& strCall) { return strCall.starts_with(std::string("open(") + CONFIG_PATH); }),
            1);
  EXPECT_TRUE(fileExists(strFolder));
}

TEST_F(RunTaskArray, RunsTasksWithoutAnOutputFolderWhenNothingIsConfigured) {
  fakes().pretendChildren(DONE);
  EXPECT_EQ(runArray(listOf({store(scriptTask("a"))})), 0);
  EXPECT_FALSE(fileExists(runFolder("a")));
  EXPECT_EQ(run(1)["exit_info"], DONE);
}

TEST_F(RunTaskArray, ASectionThatIsMissingOrNoObjectKeepsEveryTaskFromStarting) {
  for (const char* szContent : {R"({"eorvascheduler": "text"})", R"({"other": {"output_path": "logs"}})", "null"}) {
    writeFile(CONFIG_PATH, szContent);
    expectFailure("jConfig.type() != Json::objectValue", LIB);
    expectFailure("0 >= (pid = forkRunCmd(jTask, jConfig, jResult))", LIB);
    expectLine(NOT_STARTED, LIB);
    EXPECT_EQ(runArray(listOf({store(scriptTask("a"))})), 0) << szContent;
    EXPECT_THAT(started(), testing::IsEmpty()) << szContent;
  }
}

TEST_F(RunTaskArray, AnEmptyListIsDoneAtOnce) {
  blDebugOutput = true;
  expectDebug("jTaskArray size=0", LIB);
  EXPECT_EQ(runArray(json("[]")), 0);
  EXPECT_THAT(fakes().sleeps(), testing::IsEmpty());
}

TEST_F(RunTaskArray, AListOfWhichNothingStartsIsDoneAtOnce) {
  expectLine("cannot run now, same task running pid=4242", LIB);
  expectFailedLaunch();
  EXPECT_EQ(runArray(listOf({store(blockedTask("a")), store(brokenTask("b"))})), 0);
  EXPECT_THAT(fakes().sleeps(), testing::IsEmpty());
  EXPECT_THAT(started(), testing::IsEmpty());
}

TEST_F(RunTaskArray, ATaskThatCannotBeStartedDoesNotKeepTheOthersFromIt) {
  fakes().pretendChildren(DONE);
  expectFailedLaunch();
  expectLine("cannot run now, same task running pid=4242", LIB);
  EXPECT_EQ(runArray(listOf(
                {store(brokenTask("a")), store(scriptTask("b")), store(blockedTask("c")), store(scriptTask("d"))})),
            0);
  EXPECT_THAT(started(), testing::ElementsAre("b", "d"));
}

TEST_F(RunTaskArray, AnElementThatIsNoObjectEndsTheCallAtOnceAndLeavesTheChildrenAlone) {
  fakes().pretendChildren();
  expectFailure("jCurr.type() != Json::objectValue", LIB);
  EXPECT_EQ(runArray(listOf({store(scriptTask("a")), json("5"), store(scriptTask("c"))})), -1);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
  EXPECT_FALSE(run(1).isMember("stop_time"));
  EXPECT_THAT(fakes().sleeps(), testing::IsEmpty());
  EXPECT_THAT(fakes().systemCalls(), testing::Not(testing::Contains(testing::StartsWith("waitpid("))));
  EXPECT_EQ(task("a")["status"]["running"][0].asInt(), fakes().pretendedChildren().at(0));
}

TEST_F(RunTaskArray, CopiesTheEventIntoEveryRun) {
  fakes().pretendChildren(DONE);
  store(dependant("after_a", "[a]"));
  EXPECT_EQ(runArray(listOf({store(scriptTask("a"))}), true), 0);
  for (const int iResultId : {1, 2}) {
    EXPECT_EQ(run(iResultId)["event_fire_time"], 5);
    EXPECT_EQ(run(iResultId)["trigger_event"], "bootup");
    EXPECT_EQ(run(iResultId)["run_time_env"], json("{'x': 1}"));
  }
}

TEST_F(RunTaskArray, NamesStartedAndEndedTasksInDebugLines) {
  blDebugOutput = true;
  fakes().pretendChildren(DONE);
  expectDebug("jTaskArray size=2", LIB);
  expectDebug("insert task[a], pid=5000000", LIB);
  expectDebug("insert task[b], pid=5000001", LIB);
  expectDebug("wait child pid=5000000 return", LIB);
  expectDebug("wait child pid=5000001 return", LIB);
  EXPECT_EQ(runArray(listOf({store(scriptTask("a")), store(scriptTask("b"))})), 0);
}

TEST_F(RunTaskArray, PollsEveryChildOnceASecondUntilTheLastHasEnded) {
  fakes().pretendChildren();
  fakes().onSleep([](int iPass) {
    if (iPass == 2 || iPass == 4) {
      fakes().endChild(fakes().pretendedChildren().at(iPass == 2 ? 1 : 0), DONE);
    }
  });
  const Json::Int64 iStart = fakes().now();
  EXPECT_EQ(runArray(listOf({store(scriptTask("a")), store(scriptTask("b"))})), 0);
  EXPECT_EQ(fakes().sleeps(), std::vector<unsigned int>(5, 1));
  EXPECT_EQ(run(2)["stop_time"].asInt64(), iStart + 2);
  EXPECT_EQ(run(1)["stop_time"].asInt64(), iStart + 4);
  const auto calls = fakes().systemCalls();
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "waitpid(5000000, 1)"), 5);
  EXPECT_EQ(std::count(calls.begin(), calls.end(), "waitpid(5000001, 1)"), 3);
}

TEST_F(RunTaskArray, PollsInAscendingOrderOfTheProcessIds) {
  fakes().answer("fork", 5000009).nth(1);
  fakes().answer("fork", 5000003).nth(2);
  fakes().answer("waitpid(5000009", 5000009).every();
  fakes().answer("waitpid(5000003", 5000003).every();
  expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code.5000003", LIB);
  expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code.5000009", LIB);
  EXPECT_EQ(runArray(listOf({store(scriptTask("a")), store(scriptTask("b"))})), 0);
  EXPECT_EQ(run(1)["pid"], 5000009);
  EXPECT_EQ(run(2)["pid"], 5000003);
}

TEST_F(RunTaskArray, ASecondTaskOfTheSameProcessIdIsLeftOut) {
  fakes().answer("fork", 5000003).every();
  fakes().answer("waitpid(5000003", 5000003).every();
  expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code.5000003", LIB);
  EXPECT_EQ(runArray(listOf({store(scriptTask("a")), store(scriptTask("b"))})), 0);
  EXPECT_TRUE(run(1).isMember("stop_time"));
  EXPECT_FALSE(run(2).isMember("stop_time"));
}

TEST_F(RunTaskArray, PollsAChildAgainAfterAFailedWait) {
  fakes().pretendChildren(DONE);
  fakes().fail("waitpid").withErrno(EINTR);
  expectLine("0 > ret", LIB).withErrno(EINTR);
  EXPECT_EQ(runArray(listOf({store(scriptTask("a"))})), 0);
  EXPECT_EQ(run(1)["exit_info"], DONE);
  EXPECT_EQ(fakes().sleeps().size(), 2U);
}

TEST_F(RunTaskArray, PollsAChildThatSomebodyElseReapedWithoutAnEnd) {
  fakes().pretendChildren();
  fakes().fail("waitpid(5000000").every().withErrno(ECHILD);
  fakes().onSleep([](int iPass) {
    if (iPass == 2) {
      fakes().endChild(fakes().pretendedChildren().at(1), DONE);
    }
  });
  fakes().stopAfterPasses(6);
  for (int i = 0; i < 6; ++i) {
    expectLine("0 > ret", LIB).withErrno(ECHILD);
  }
  expectStopped();
  EXPECT_EQ(runArray(listOf({store(scriptTask("a")), store(scriptTask("b"))})), -1);
  EXPECT_FALSE(run(1).isMember("stop_time"));
  EXPECT_EQ(run(2)["exit_info"], DONE) << "the others are still closed";
}

TEST_F(RunTaskArray, TheWaitStatusIsNotUsed) {
  fakes().pretendChildren(exitInfo("by_signal", 15));
  EXPECT_EQ(runArray(listOf({store(scriptTask("a"))})), 0);
  EXPECT_EQ(run(1)["exit_info"], exitInfo("by_signal", 15)) << "the fake's waitpid reports 0";
}

TEST_F(RunTaskArray, KeepsTheBooksOfARunInBothTables) {
  fakes().pretendChildren();
  const Json::Int64 iStart = fakes().now();
  fakes().onSleep([&](int iPass) {
    if (iPass == 1) {
      EXPECT_EQ(task("a")["last_start_time"].asInt64(), iStart);
      EXPECT_EQ(task("a")["last_stop_time"], 0);
      EXPECT_EQ(task("a")["last_exit_info"], Json::Value(Json::objectValue));
      EXPECT_EQ(task("a")["status"], json("{'running': [5000000]}"));
      EXPECT_EQ(run(1)["exit_info"], Json::Value(Json::objectValue));
      EXPECT_FALSE(run(1).isMember("stop_time"));
      fakes().endChild(5000000, exitInfo("by_signal", 9));
    }
  });
  Json::Value jTask = scriptTask("a");
  jTask["last_stop_time"] = 77;
  jTask["last_exit_info"] = DONE;
  EXPECT_EQ(runArray(listOf({store(jTask)})), 0);
  EXPECT_EQ(task("a")["last_start_time"].asInt64(), iStart);
  EXPECT_EQ(task("a")["last_stop_time"].asInt64(), iStart + 1);
  EXPECT_EQ(task("a")["last_exit_info"], exitInfo("by_signal", 9));
  EXPECT_EQ(task("a")["status"], json("{'running': []}"));
  EXPECT_EQ(run(1)["stop_time"].asInt64(), iStart + 1);
  EXPECT_EQ(run(1)["exit_info"], exitInfo("by_signal", 9));
}

TEST_F(RunTaskArray, TheTaskDescribesItsNewestRunWhileAnOlderOneIsOpen) {
  fakes().pretendChildren();
  const Json::Value jTask = store(scriptTask("a"));
  fakes().onSleep([&](int iPass) {
    if (iPass == 1) {
      fakes().endChild(5000000, exitInfo("normal", 1));
    } else if (iPass == 2) {
      fakes().endChild(5000001, exitInfo("normal", 2));
    }
  });
  EXPECT_EQ(runArray(listOf({jTask, jTask})), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "a"));
  EXPECT_EQ(task("a")["last_exit_info"], exitInfo("normal", 2));
  EXPECT_EQ(task("a")["status"], json("{'running': []}"));
}
