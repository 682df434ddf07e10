// runTaskArray: what happens when a child has ended. The children are simulated.

#include "conformance/engine/runs.h"
#include "engine/runner.h"

using namespace OrvaTest;

namespace {

const Json::Value DONE = exitInfo("normal", 0);
const std::string NOT_CLOSED = "0 > updateTaskResultByExitStatus(jCurr, pApi, pApiResult, pDb, jResult)";

Json::Value notifyingTask(const std::string& strName) {
  Json::Value jTask = scriptTask(strName);
  jTask["notify_enable"] = true;
  jTask["notify_if_error"] = false;
  jTask["notify_mail"] = "admin@example.org";
  return jTask;
}

class RunnerEnd : public RunsTest {
protected:
  RunnerEnd() { writeFile("/etc/orvainfo.conf", "maillang=\"enu\"\n"); }

  int runTasks(const std::vector<Json::Value>& tasks, bool blRunDependants = true) {
    Json::Value jTaskList = listOf(tasks);
    Json::Value jEvent = json("{'event_fire_time': 5, 'trigger_event': 'bootup', 'run_time_env': {}}");
    return runTaskArray(jTaskList, jEvent, m_pApi, m_pApiResult, m_pDb, blRunDependants);
  }
  void expectNotClosed() {
    expectFailure("0 > pApiResult->recUpdateByFilter(jFilter, jUpdate)", LIB);
    expectLine("error! jTask=", LIB).beginning();
    expectLine(NOT_CLOSED, LIB);
  }
  std::vector<std::string> unlinked() {
    std::vector<std::string> paths;
    for (const std::string& strCall : fakes().systemCalls()) {
      if (strCall.starts_with("unlink(")) {
        paths.push_back(strCall.substr(7, strCall.size() - 8));
      }
    }
    return paths;
  }
};

const std::string EXIT_CODE = "/tmp/eorvascheduler_exit_code.5000000";

}  // namespace

TEST_F(RunnerEnd, SendsTheMailOfARunThatWasClosed) {
  fakes().pretendChildren(exitInfo("normal", 4));
  EXPECT_EQ(runTasks({store(notifyingTask("a"))}), 0);
  ASSERT_EQ(fakes().mails.size(), 1U);
  EXPECT_EQ(fakes().mails[0].values.at("%TASK%"), "a");
  EXPECT_EQ(fakes().mails[0].values.at("%EXIT_CODE%"), "4 (Normal)");
}

TEST_F(RunnerEnd, TheMailHoldsTheOutputFromTheConfiguredFolder) {
  fakes().pretendChildren(DONE);
  keepOutput();
  writeFile(runFolder("a") + "output.log", "what it said\n");
  EXPECT_EQ(runTasks({store(notifyingTask("a"))}), 0);
  ASSERT_EQ(fakes().mails.size(), 1U);
  EXPECT_EQ(fakes().mails[0].values.at("%OUT_PUT%"), "what it said\n");
}

TEST_F(RunnerEnd, TheMailHoldsTheTemporaryOutputWhichIsRemovedThen) {
  fakes().pretendChildren(DONE);
  fakes().keepUnknownMembers();
  const std::string strOutput = fakes().strTmpFolder + "/eorvascheduler.output.5000000";
  writeFile(strOutput, "what it said\n");
  EXPECT_EQ(runTasks({store(notifyingTask("a"))}), 0);
  ASSERT_EQ(fakes().mails.size(), 1U);
  EXPECT_EQ(fakes().mails[0].values.at("%OUT_PUT%"), "what it said\n");
  EXPECT_FALSE(fileExists(strOutput));
}

TEST_F(RunnerEnd, AFailedMailDoesNotEndTheExecution) {
  fakes().pretendChildren(DONE);
  Json::Value jTask = notifyingTask("a");
  jTask.removeMember("notify_if_error");
  store(dependant("after_a", "[a]"));
  expectFailure("!jTask.isMember(\"notify_if_error\")", LIB);
  expectLine("notify failed, task=a", LIB);
  EXPECT_EQ(runTasks({store(jTask)}), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "after_a"));
}

TEST_F(RunnerEnd, ARunThatCannotBeClosedGetsNoMailNoCleaningAndNoDependants) {
  fakes().pretendChildren(DONE);
  fakes().keepUnknownMembers();
  store(dependant("after_a", "[a]"));
  fakes().fail("recUpdateByFilter(task_result,");
  expectNotClosed();
  EXPECT_EQ(runTasks({store(notifyingTask("a"))}), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
  EXPECT_TRUE(fakes().mails.empty());
  EXPECT_THAT(unlinked(), testing::ElementsAre(EXIT_CODE));
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains(testing::StartsWith("recList("))));
}

TEST_F(RunnerEnd, ARunThatCannotBeClosedCountsAsCompleteForOthersDependants) {
  fakes().pretendChildren(DONE);
  store(dependant("join", "[a][b]"));
  fakes().fail("recUpdateByFilter(task_result,");
  expectNotClosed();
  EXPECT_EQ(runTasks({store(scriptTask("a")), store(scriptTask("b"))}), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "b", "join"));
}

TEST_F(RunnerEnd, ATaskThatWasDeletedMeanwhileIsARunThatCannotBeClosed) {
  fakes().pretendChildren(DONE);
  expectFailure("!jTask.isMember(\"status\")", LIB);
  expectLine("error! jTask=", LIB).beginning();
  expectLine(NOT_CLOSED, LIB);
  EXPECT_EQ(runTasks({scriptTask("a")}), 0);
  EXPECT_EQ(run(1)["exit_info"], DONE);
}

TEST_F(RunnerEnd, RemovesTheTemporaryFilesWhenTheStoreKeptTheirPaths) {
  blDebugOutput = true;
  fakes().pretendChildren(DONE);
  fakes().keepUnknownMembers();
  const std::string strOutput = fakes().strTmpFolder + "/eorvascheduler.output.5000000";
  writeFile(scriptOfThisProcess(), "x");
  writeFile(strOutput, "x");
  expectDebug("unlink " + scriptOfThisProcess(), LIB);
  expectDebug("unlink " + strOutput, LIB);
  EXPECT_EQ(runTasks({store(scriptTask("a"))}), 0);
  EXPECT_THAT(unlinked(), testing::ElementsAre(EXIT_CODE, scriptOfThisProcess(), strOutput));
  EXPECT_FALSE(fileExists(scriptOfThisProcess()));
  EXPECT_FALSE(fileExists(strOutput));
}

TEST_F(RunnerEnd, IgnoresATemporaryFileThatCannotBeRemoved) {
  fakes().pretendChildren(DONE);
  fakes().keepUnknownMembers();
  store(dependant("after_a", "[a]"));
  fakes().fail("unlink(" + scriptOfThisProcess()).every().withErrno(EPERM);
  fakes().fail("unlink(" + fakes().strTmpFolder).every().withErrno(EPERM);
  EXPECT_EQ(runTasks({store(scriptTask("a"))}), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "after_a"));
}

TEST_F(RunnerEnd, LeavesTheTemporaryFilesWhenTheStoreDropsTheirPaths) {
  fakes().pretendChildren(DONE);
  EXPECT_EQ(runTasks({store(scriptTask("a"))}), 0);
  EXPECT_THAT(unlinked(), testing::ElementsAre(EXIT_CODE));
  for (const char* szMember : {"result", "strExitCode_tmp", "strScriptName_tmp", "strOutputPath_tmp"}) {
    EXPECT_FALSE(task("a").isMember(szMember)) << szMember;
  }
}

TEST_F(RunnerEnd, LeavesTheFilesOfAnOutputFolder) {
  keepOutput();
  fakes().pretendChildren(DONE);
  fakes().keepUnknownMembers();
  EXPECT_EQ(runTasks({store(scriptTask("a"))}), 0);
  EXPECT_THAT(unlinked(), testing::ElementsAre(EXIT_CODE));
}

TEST_F(RunnerEnd, MailsBeforeItRemovesTheOutputAndRemovesBeforeItLooksForDependants) {
  fakes().pretendChildren(DONE);
  fakes().keepUnknownMembers();
  EXPECT_EQ(runTasks({store(notifyingTask("a"))}), 0);
  std::vector<std::string> order;
  for (const Call& call : fakes().allCalls()) {
    for (const std::string strBegin :
         {"ORVAMailSendMessageWithoutBlock(", "unlink(/tmp/eorvascheduler.script", "recList("}) {
      if (call.strText.starts_with(strBegin)) {
        order.push_back(strBegin);
      }
    }
  }
  EXPECT_THAT(
      order, testing::ElementsAre("ORVAMailSendMessageWithoutBlock(", "unlink(/tmp/eorvascheduler.script", "recList("));
}

TEST_F(RunnerEnd, WithDependantsOffNoneIsExamined) {
  fakes().pretendChildren(DONE);
  store(dependant("after_a", "[a]"));
  EXPECT_EQ(runTasks({store(scriptTask("a"))}, false), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains(testing::StartsWith("recList("))));
}
