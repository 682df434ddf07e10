/// Runs that cannot be ended at once. A child of this process stands for the process of a run, and has a child that
/// stands for its script.

#include "common/run_watch.h"

#include <csignal>
#include <fcntl.h>
#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/failure.h"
#include "common/json_read.h"
#include "common/outcome.h"
#include "fresh_host.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;

namespace {

class RunWatching : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    ASSERT_EQ(pipe2(m_go, O_CLOEXEC), 0);
    m_pid = fork();
    if (m_pid == 0) {
      beTheRun();
    }
    close(m_go[0]);
    addRun();
  }

  void TearDown() override {
    close(m_go[1]);
    OrvaTest::endChildren();
  }

  /// The script begins when it is told to, and the run ends with it.
  [[noreturn]] void beTheRun() {
    char c = 0;
    close(m_go[1]);
    [[maybe_unused]] const ssize_t cb = read(m_go[0], &c, 1);
    const pid_t pidScript = fork();
    if (pidScript == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      for (;;) {
        pause();
      }
    }
    waitpid(pidScript, nullptr, 0);
    _exit(0);
  }

  void addRun() {
    Session session(Session::Store::CREATE);
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = "a";
    jTask["event"] = "bootup";
    jTask["owner"] = 0;
    jTask["operation"] = "true";
    jTask["operation_type"] = "script";
    Json::Value jRun(Json::objectValue);
    jRun["task_name"] = "a";
    jRun["start_time"] = 1;
    jRun["pid"] = m_pid;
    Json::Value jOut;
    ASSERT_EQ(session.tasks()->recCreate(jTask, jOut), 0);
    ASSERT_EQ(session.runs()->recCreate(jRun, jOut), 0);
  }

  void beginScript() {
    ASSERT_EQ(write(m_go[1], "x", 1), 1);
    while (ProcessTable().childrenOf(m_pid).empty()) {
      usleep(1000);
    }
  }

  /// The watch of the execution that has this one run.
  void look(RunWatch& watch) {
    const ExecutionFile file(Json::Int64{0}, Json::Int64{0});
    OrvaTest::writeFile(file.path(), fmt::format("after 0\n{}\n", m_pid));
    watch.look(file, getpid());
    ASSERT_EQ(watch.processes().count(m_pid), 1U);
  }

  std::string endedBy() {
    Session session;
    return textOf(requireRun(session, 1), "ended_by");
  }

  /// Goes on until the run has ended.
  void finish(RunWatch& watch) {
    while (!watch.step()) {
      usleep(1000);
    }
    int iStatus = -1;
    ASSERT_EQ(waitpid(m_pid, &iStatus, 0), m_pid);
    EXPECT_EQ(iStatus, 0);
  }

  pid_t m_pid = 0;
  int m_go[2] = {-1, -1};
  TaskLock m_lock;
};

constexpr std::chrono::seconds AT_ONCE(0);

}  // namespace

TEST_F(RunWatching, RunWhoseScriptHasNotBegunIsEndedWhenItHas) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), AT_ONCE);
  look(watch);
  watch.endAll(ENDED_BUDGET);
  EXPECT_FALSE(watch.isEnding(m_pid));
  EXPECT_EQ(endedBy(), "");
  beginScript();
  watch.endAll(ENDED_BUDGET);
  ASSERT_TRUE(watch.isEnding(m_pid));
  EXPECT_EQ(endedBy(), "budget");
  finish(watch);
}

TEST_F(RunWatching, RunThatSomebodyElseIsEndingIsEndedWhenHeHasGivenUp) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), AT_ONCE);
  look(watch);
  beginScript();
  {
    const RunEnd other(Process(m_pid), std::chrono::seconds(60));
    EXPECT_THROW(watch.endAll(ENDED_BUDGET), Failure);
  }
  watch.endAll(ENDED_BUDGET);
  ASSERT_TRUE(watch.isEnding(m_pid));
  finish(watch);
}

TEST_F(RunWatching, RunThatCouldNotBeEndedIsLeftAloneForAWhile) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), std::chrono::hours(1));
  look(watch);
  watch.endAll(ENDED_BUDGET);
  beginScript();
  watch.endAll(ENDED_BUDGET);
  EXPECT_FALSE(watch.isEnding(m_pid));
}
