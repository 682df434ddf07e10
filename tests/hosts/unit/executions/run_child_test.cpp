/// The process of a run begins, or does not, before it becomes that of a script.

#include "common/executions/run_child.h"

#include <csignal>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "common/coordination/execution_file.h"
#include "common/executions/end_reports.h"
#include "common/support/control_group.h"
#include "fresh_host.h"
#include "run_holding.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;

namespace {

constexpr int BEGAN = 3;
constexpr int STATUS = 9 << 8;

class BeginningOfARun : public HostTest::RunHolding {
protected:
  void SetUp() override {
    RunHolding::SetUp();
    HostTest::freshHost();
    m_file.emplace(Json::Int64{0}, Json::Int64{0});
    m_file->noteGroup(unit());
    m_start = {m_file->path(), unit(), 10, m_ends.writer(), {m_file->fd()}};
  }
  void TearDown() override { OrvaTest::endChildren(); }

  /// \param fnFirst  what the process does before.
  /// \param fnThen   what it does when it has begun.
  /// \return its exit status.
  int begin(
      pid_t pidExecution = getpid(), bool blEnding = false, const std::function<void()>& fnFirst = [] {},
      const std::function<void()>& fnThen = [] {}) {
    m_pid = fork();
    if (m_pid == 0) {
      fnFirst();
      beginRun(m_start, pidExecution, blEnding);
      fnThen();
      ORVARunEnded(STATUS);
      _exit(BEGAN);
    }
    int iStatus = -1;
    EXPECT_EQ(waitpid(m_pid, &iStatus, 0), m_pid);
    EXPECT_TRUE(WIFEXITED(iStatus));
    m_ends.collect(*m_file);
    m_file->update();
    return WEXITSTATUS(iStatus);
  }

  const RunNotes& notes() const { return m_file->notes().mapRuns.at(m_pid); }

  std::string group() const { return unit().empty() ? "" : fmt::format("run-{}", m_pid); }

  std::optional<ExecutionFile> m_file;
  EndReports m_ends;
  RunStart m_start;
  pid_t m_pid = 0;
};

std::string nameOfSelf() {
  return OrvaTest::readFile("/proc/self/comm");
}

}  // namespace

TEST_P(BeginningOfARun, IsReportedAndItsEndToo) {
  EXPECT_EQ(begin(), BEGAN);
  EXPECT_TRUE(notes().blBegun);
  EXPECT_EQ(notes().strGroup, group());
  EXPECT_EQ(notes().status, STATUS);
}

TEST_P(BeginningOfARun, LeavesTheScriptNothingOfTheExecution) {
  sigset_t child;
  sigemptyset(&child);
  sigaddset(&child, SIGCHLD);
  sigprocmask(SIG_BLOCK, &child, nullptr);
  EXPECT_EQ(begin(
                getpid(), false, [] {},
                [&] {
                  sigset_t mask;
                  sigprocmask(SIG_BLOCK, nullptr, &mask);
                  const bool blClean =
                      getsid(0) == getpid() && sigismember(&mask, SIGCHLD) == 0 && nameOfSelf() == "eorva-run\n";
                  if (!blClean) {
                    _exit(1);
                  }
                }),
            BEGAN);
  sigprocmask(SIG_UNBLOCK, &child, nullptr);
}

TEST_P(BeginningOfARun, IsRefusedWhenTheExecutionIsBeingEnded) {
  EXPECT_EQ(begin(getpid(), true), 0);
  EXPECT_EQ(notes().status, -1);
}

TEST_P(BeginningOfARun, IsRefusedWhenTheExecutionHasEnded) {
  EXPECT_EQ(begin(getppid()), 0);
  EXPECT_TRUE(notes().blBegun) << "whoever settles the execution waits for this process";
  EXPECT_EQ(notes().status, -1);
}

TEST_P(BeginningOfARun, IsRefusedWithoutItsGroup) {
  m_start.strGroup = "/sys/fs/cgroup/missing/eorva";
  EXPECT_EQ(begin(), 0);
  EXPECT_FALSE(notes().blBegun);
  EXPECT_EQ(notes().status, -1);
}

TEST_P(BeginningOfARun, IsRefusedWhenItCannotBeReported) {
  m_start.strFile += ".missing";
  EXPECT_EQ(begin(), 0);
  EXPECT_FALSE(notes().blBegun);
  EXPECT_EQ(notes().status, -1);
}

// The run's process is its owner's then, and she may limit the size of its files.
TEST_P(BeginningOfARun, TellsItsEndThoughItMayWriteNoFile) {
  EXPECT_EQ(begin(
                getpid(), false, [] {},
                [] {
                  const rlimit none{0, 0};
                  setrlimit(RLIMIT_FSIZE, &none);
                }),
            BEGAN);
  EXPECT_EQ(notes().status, STATUS);
}

INSTANTIATE_TEST_SUITE_P(Held, BeginningOfARun, HostTest::bothHoldings(), HostTest::holdingName);

namespace {

using GroupOfARun = BeginningOfARun;

}  // namespace

TEST_P(GroupOfARun, IsAnotherOneThanThatOfARunThatHadTheNumberBefore) {
  EXPECT_EQ(begin(getpid(), false,
                  [&] {
                    const ControlGroup old(unit() + "/run-" + std::to_string(getpid()));
                    old.create();
                    if (fork() == 0) {
                      old.enter();
                      for (;;) {
                        pause();
                      }
                    }
                    while (!old.isPopulated()) {
                      usleep(1000);
                    }
                  }),
            BEGAN);
  EXPECT_EQ(notes().strGroup, group() + "-2");
}

TEST_P(GroupOfARun, IsANewOneWhenThatOfTheRunThatHadTheNumberBeforeIsEmpty) {
  EXPECT_EQ(begin(getpid(), false,
                  [&] {
                    const ControlGroup old(unit() + "/run-" + std::to_string(getpid()));
                    old.create();
                    old.below("left").create();
                  }),
            BEGAN);
  EXPECT_EQ(notes().strGroup, group());
  EXPECT_FALSE(OrvaTest::fileExists(unit() + "/" + group() + "/left"));
}

INSTANTIATE_TEST_SUITE_P(Held, GroupOfARun, testing::Values(HostTest::Holding::GROUP), HostTest::holdingName);
