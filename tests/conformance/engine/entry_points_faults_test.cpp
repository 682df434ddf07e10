// runByEvent and runTaskOne when each call that can fail does fail, one after the other: the runner's calls, and those
// of its children. The children are real, except for an event's runner, which makes too many calls.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class FailingCalls : public RunsTest {
protected:
  static void prepareTask(bool blWithOutput, const std::string& strName, const std::string& strDepend) {
    addUser("alice", 4001, 4001);
    writeFile("/etc/orvainfo.conf", "maillang=\"enu\"\n");
    ::unlink(CONFIG_PATH);
    if (blWithOutput) {
      keepOutput();
    }
    Json::Value jTask = dependant(strName, strDepend);
    jTask["operation"] = "exit 0\n";
    jTask["owner"] = 4001;
    jTask["notify_enable"] = true;
    jTask["notify_if_error"] = false;
    jTask["notify_mail"] = "admin@example.org";
    store(jTask);
    fakes().keepUnknownMembers();
  }

  // No record is incomplete, and every started run is finished by its child.
  static void verifyRecords() {
    while (::waitpid(-1, nullptr, 0) > 0) {
    }
    for (const Json::Value& jRun : fakes().records("task_result")) {
      EXPECT_GT(jRun["pid"].asInt(), 0);
      EXPECT_TRUE(jRun["start_time"].isInt64());
      EXPECT_EQ(jRun["trigger_event"].asString().empty(), false);
      EXPECT_TRUE(jRun["exit_info"].isObject());
      EXPECT_EQ(jRun["run_time_env"], Json::Value(Json::objectValue));
      // Closed completely or not at all.
      EXPECT_TRUE(jRun.isMember("stop_time") || jRun["exit_info"].empty());
    }
    takeTemporaryFiles();
  }

  CapturedStdout m_stdout;
};

}  // namespace

TEST_F(FailingCalls, RunByEventInTheRunner) {
  for (const bool blWithOutput : {false, true}) {
    const int cCalls = failEachCall(
        [&] {
          prepareTask(blWithOutput, "a", "");
          prepareTask(blWithOutput, "b", "[a]");
          fakes().pretendChildren(exitInfo("normal", 0));
        },
        [&] {
          const int iResult = fire();
          EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0 && started().empty()));
          if (fakes().faults() == 0) {
            EXPECT_THAT(started(), testing::ElementsAre("a", "b"));
            EXPECT_EQ(run(1)["exit_info"], exitInfo("normal", 0));
            EXPECT_EQ(run(2)["exit_info"], exitInfo("normal", 0));
            EXPECT_EQ(fakes().mails.size(), 2U);
          }
          verifyRecords();
        });
    EXPECT_GT(cCalls, 40);
  }
}

TEST_F(FailingCalls, RunTaskOneInTheRunner) {
  const int cCalls = failEachCall([&] { prepareTask(false, "a", ""); },
                                  [&] {
                                    const int iResult = runOne(task("a"));
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && started().empty()));
                                    EXPECT_TRUE(iResult == 0 || fakes().faults() > 0);
                                    EXPECT_LE(started().size(), 1U);
                                    verifyRecords();
                                  });
  EXPECT_GT(cCalls, 20);
}

TEST_F(FailingCalls, RunByEventInTheChildren) {
  const int cCalls = failEachCall(
      [&] {
        prepareTask(true, "a", "");
        prepareTask(true, "b", "[a]");
      },
      [&] {
        EXPECT_EQ(fire(), 0) << "whatever becomes of a child, its run is closed and its dependants start";
        EXPECT_THAT(started(), testing::ElementsAre("a", "b"));
        for (const int iResultId : {1, 2}) {
          EXPECT_TRUE(run(iResultId).isMember("stop_time"));
        }
        EXPECT_EQ(task("a")["status"], json("{'running': []}"));
        EXPECT_EQ(task("b")["status"], json("{'running': []}"));
        for (const int iReturn : fakes().childReturns()) {
          EXPECT_EQ(iReturn, 0) << "a copy of the runner that had nothing to run";
        }
        verifyRecords();
      },
      true);
  EXPECT_GT(cCalls, 15);
}

TEST_F(FailingCalls, RunTaskOneInTheChild) {
  const int cCalls = failEachCall(
      [&] { prepareTask(false, "a", ""); },
      [&] {
        EXPECT_EQ(runOne(task("a")), 0);
        EXPECT_TRUE(run(1).isMember("stop_time"));
        EXPECT_EQ(task("a")["status"], json("{'running': []}"));
        const auto calls = fakes().childCalls();
        const bool blBack = !fakes().childReturns().empty();
        EXPECT_EQ(calls.back() == "_exit(0)", !blBack);
        EXPECT_EQ(blBack, !fakes().events().empty() && fakes().events()[0].find("0x14400201") != std::string::npos);
        verifyRecords();
      },
      true);
  EXPECT_GT(cCalls, 20);
}

// Each call throws instead of failing, as when memory runs out.
TEST_F(FailingCalls, NothingThatIsThrownInTheChildGetsBackIntoTheRunner) {
  for (const char* szCall : {"openat", "write", "ORVAUserGetByUID", "system", "mkostemp", "fsync"}) {
    fakes().reset();
    forgetLog();
    prepareTask(true, "a", "");
    Json::Value jSilent = task("a");
    jSilent["notify_enable"] = false;
    store(jSilent);
    fakes().before(szCall, [] { throw std::bad_alloc(); }).inChild();
    EXPECT_EQ(fire(), 0) << szCall;
    fakes().clearFaults();
    EXPECT_THAT(fakes().childReturns(), testing::IsEmpty()) << szCall;
    expectLine("run given up, task=a: std::bad_alloc", LIB).inChild();
    expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code." + run(1)["pid"].asString(), LIB);
    EXPECT_TRUE(run(1).isMember("stop_time")) << szCall;
    verifyLog();
    takeTemporaryFiles();
  }
}

TEST_F(FailingCalls, ExceptionInTheRunnerIsAFailureOfTheCall) {
  prepareTask(false, "a", "");
  fakes().before("recUpdateByFilter(task_result", [] { throw std::bad_alloc(); });
  expectLine("operation given up: std::bad_alloc", LIB);
  expectLine("error! jTask=", LIB).beginning();
  expectLine("0 > updateTaskResultByExitStatus(jCurr, pApi, pApiResult, pDb, jResult)", LIB);
  EXPECT_EQ(fire(), 0);
  fakes().before("recList", [] { throw std::bad_alloc(); });
  expectLine("operation given up: std::bad_alloc", LIB);
  EXPECT_EQ(fire(), -1);
  takeTemporaryFiles();
}
