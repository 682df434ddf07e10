/// An execution ends its runs, and in time, whatever hangs.

#include "common/executions/execution_watch.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <sys/ptrace.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/executions/execution.h"
#include "common/runs/outcome.h"
#include "common/runs/reconcile.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "inotify_limit.h"
#include "stored.h"
#include "support/files.h"
#include "support/processes.h"
#include "wait_until.h"

using namespace Host;

namespace {

constexpr std::chrono::seconds LONG(50);  // until a test has failed
constexpr char STORE[] = "/usr/orva/etc/eorvascheduler";
constexpr char PID_FILE[] = "/tmp/script.pid";

class ExecutionTime : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::remove(PID_FILE);
    OrvaTest::writeFile("/etc/eorva.conf", "stop_grace=0\n");
    m_request.blByEvent = true;
    m_request.strName = "bootup";
    m_request.budget = std::chrono::seconds(1);
    m_request.lastResort = std::chrono::seconds(0);
    HostTest::addTask(Session(Session::Store::CREATE), "a",
                      "echo $$ >/tmp/new; mv /tmp/new /tmp/script.pid; exec sleep 300");
  }

  void TearDown() override {
    std::filesystem::remove("/etc/eorva.conf");
    OrvaTest::endChildren();
    // Its groups are not in the private view.
    HostTest::waitUntil([] {
      Session session;
      reconcile(session);
      return endedExecutions().empty();
    });
  }

  /// Waits for the start of the script. \return its process.
  static pid_t waitForScript() {
    while (!OrvaTest::fileExists(PID_FILE)) {
      usleep(1000);
    }
    return std::stoi(OrvaTest::readFile(PID_FILE));
  }

  static bool isGone(pid_t pid) { return kill(pid, 0) < 0; }

  ExecutionRequest m_request;
  ExecutionPlan m_plan;
  TaskLock m_lock;
};

int resultOf(Execution& execution) {
  EXPECT_TRUE(execution.waitEnd(LONG));
  const std::optional<int> status = execution.status();
  return status && WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
}

}  // namespace

TEST_F(ExecutionTime, IsUpAlthoughTheStoreCannotBeReadAndTheNextCommandClosesTheRun) {
  auto pExecution = std::make_unique<Execution>(m_request, m_plan, m_lock);
  const pid_t pidScript = waitForScript();
  std::filesystem::rename(STORE, std::string(STORE) + ".away");
  ASSERT_EQ(resultOf(*pExecution), RESULT_BUDGET);
  pExecution.reset();
  HostTest::waitUntil([&] { return isGone(pidScript); });
  std::filesystem::rename(std::string(STORE) + ".away", STORE);
  Session session;
  const std::vector<Json::Value> vecRuns = reconcile(session);
  ASSERT_THAT(vecRuns, testing::SizeIs(1));
  EXPECT_EQ(textOf(vecRuns[0], "ended_by"), ENDED_BUDGET);
  EXPECT_THAT(endedExecutions(), testing::IsEmpty());
}

TEST_F(ExecutionTime, IsUpAlthoughSomethingCannotBeKilled) {
  Execution execution(m_request, m_plan, m_lock);
  const pid_t pidScript = waitForScript();
  // A killed process that is traced stops once more for its tracer, and gets no other signal there.
  ASSERT_EQ(ptrace(PTRACE_SEIZE, pidScript, nullptr, PTRACE_O_TRACEEXIT), 0);
  EXPECT_EQ(resultOf(execution), RESULT_BUDGET);
  EXPECT_FALSE(isGone(pidScript));
  ptrace(PTRACE_DETACH, pidScript, nullptr, nullptr);
}

namespace {

/// Without a budget.
class ExecutionEndings : public ExecutionTime {
protected:
  void SetUp() override {
    ExecutionTime::SetUp();
    m_request.budget = std::chrono::seconds(0);
    m_request.lastResort = LONG;
  }

  static Json::Value run() {
    Session session;
    return requireRun(session, 1);
  }
};

}  // namespace

TEST_F(ExecutionEndings, RequestEndsTheRunsClosesThemAndStartsNoMore) {
  HostTest::addTask(Session(), "b", "true", objectOf({{"depend_on_task", "[a]"}}));
  Execution execution(m_request, m_plan, m_lock);
  const pid_t pidScript = waitForScript();
  ASSERT_EQ(kill(execution.pid(), SIGTERM), 0);
  EXPECT_EQ(resultOf(execution), RESULT_ENDED);
  HostTest::waitUntil([&] { return isGone(pidScript); });
  EXPECT_TRUE(run().isMember("stop_time"));
  EXPECT_EQ(textOf(run(), "ended_by"), ENDED_STOPPED);
  Session session;
  EXPECT_EQ(listRuns(session, "1").size(), 1U);
  EXPECT_FALSE(isAnyExecutionAlive());
}

TEST_F(ExecutionEndings, RunIsStoppedAlthoughTheKernelTellsNoChangesOfFiles) {
  HostTest::useUpInotify();
  Execution execution(m_request, m_plan, m_lock);
  const pid_t pidScript = waitForScript();
  liveExecutions().at(0).endRun(*execution.children().begin(), ENDED_STOPPED, std::chrono::seconds(0));
  EXPECT_EQ(resultOf(execution), 0);
  HostTest::waitUntil([&] { return isGone(pidScript); });
  EXPECT_EQ(textOf(run(), "ended_by"), ENDED_STOPPED);
}

TEST_F(ExecutionEndings, RunWhoseProcessItsOwnerKilledIsOver) {
  Execution execution(m_request, m_plan, m_lock);
  const pid_t pidScript = waitForScript();
  ASSERT_EQ(kill(*execution.children().begin(), SIGKILL), 0);
  EXPECT_EQ(resultOf(execution), 0);
  HostTest::waitUntil([&] { return isGone(pidScript); });
  EXPECT_EQ(textOf(run(), "ended_by"), ENDED_KILLED);
}

TEST_F(ExecutionEndings, RunOfAKilledLibraryIsEndedAndClosedByTheWatch) {
  Execution execution(m_request, m_plan, m_lock);
  const pid_t pidScript = waitForScript();
  const pid_t pidLibrary = processStatus(*execution.children().begin()).value().pidParent;
  ASSERT_EQ(kill(pidLibrary, SIGKILL), 0);
  EXPECT_EQ(resultOf(execution), -1) << "the watch ends as the library did";
  HostTest::waitUntil([&] { return isGone(pidScript); });
  EXPECT_EQ(textOf(run()["exit_info"], "exit_type"), EXIT_INTERRUPTED);
  EXPECT_THAT(execution.takeMessages(), testing::HasSubstr("run 1 of \"a\" could not be closed in time"));
}

TEST_F(ExecutionEndings, RunOfAKilledWatchIsSettledByTheNextCommand) {
  auto pExecution = std::make_unique<Execution>(m_request, m_plan, m_lock);
  const pid_t pidScript = waitForScript();
  // The script may begin before its run is recorded.
  HostTest::waitUntil([] {
    Session session;
    return !listRuns(session, "1").empty();
  });
  ASSERT_EQ(kill(pExecution->pid(), SIGKILL), 0);
  EXPECT_TRUE(pExecution->waitEnd(LONG));
  pExecution.reset();
  Session session;
  HostTest::waitUntil([&] { return !isAnyExecutionAlive(); });
  EXPECT_FALSE(isGone(pidScript)) << "nobody has looked yet";
  EXPECT_THAT(reconcile(session), testing::SizeIs(1));
  HostTest::waitUntil([&] { return isGone(pidScript); });
  EXPECT_TRUE(endedExecutions().empty());
}
