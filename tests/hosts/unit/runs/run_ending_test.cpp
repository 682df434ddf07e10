/// Ending runs. A child of this process acts as the process of a run, with the shell of a script below it.

#include "common/runs/run_ending.h"

#include <csignal>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "run_test.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;

namespace {

class EndingOfARun : public testing::Test {
protected:
  /// The shell starts its script on request; the run ends with the exit status of the shell.
  void SetUp() override {
    ASSERT_EQ(pipe2(m_go, O_CLOEXEC), 0);
    m_pid = fork();
    if (m_pid == 0) {
      beTheRun();
    }
    close(m_go[0]);
    while (shell().find("read") == std::string::npos) {
      usleep(1000);
    }
  }

  void TearDown() override {
    close(m_go[1]);
    OrvaTest::endChildren();
  }

  [[noreturn]] void beTheRun() {
    const pid_t pidSelf = getpid();
    const pid_t pidShell = fork();
    if (pidShell == 0) {
      HostTest::endWith(pidSelf);
      dup2(m_go[0], STDIN_FILENO);
      execl("/bin/sh", "sh", "-c", "read go; sleep 300; exit $?", nullptr);
      _exit(127);
    }
    int iStatus = 0;
    waitpid(pidShell, &iStatus, 0);
    _exit(WIFEXITED(iStatus) ? WEXITSTATUS(iStatus) : 1);
  }

  /// The name of the oldest child.
  std::string shell() const {
    const std::map<pid_t, ProcessStatus> mapChildren = ProcessTable().childrenOf(m_pid);
    return mapChildren.empty() ? ""
                               : OrvaTest::readFile("/proc/" + std::to_string(mapChildren.begin()->first) + "/cmdline");
  }

  void beginScript() const { ASSERT_EQ(write(m_go[1], "x\n", 2), 2); }

  /// How the run ended.
  int finish(RunEnding& end) const {
    while (!end.step()) {
      usleep(1000);
    }
    int iStatus = -1;
    EXPECT_EQ(waitpid(m_pid, &iStatus, 0), m_pid);
    return WEXITSTATUS(iStatus);
  }

  pid_t m_pid = 0;
  int m_go[2] = {-1, -1};
};

constexpr std::chrono::seconds PATIENT(20);

/// A process can wait in the kernel, where only SIGKILL has an effect: in state t for its tracer, in state D for a disk
/// or for a vfork child.
class RunOfWaiting : public HostTest::RunTest, public testing::WithParamInterface<char> {
protected:
  [[noreturn]] void beTheScript() override {
    std::signal(SIGTERM, SIG_IGN);
    if (GetParam() == 'D') {
      waitForChild();
    }
    RunTest::beTheScript();
  }

  /// Runs in the child.
  static void waitForChild() {
    const pid_t pidSelf = getpid();
    if (syscall(SYS_clone, CLONE_VFORK | SIGCHLD, 0, 0, 0, 0) != 0) {
      _exit(0);
    }
    HostTest::endWith(pidSelf);
  }

  /// Traces the script, so that it can be examined after it was killed, and waits until it is waiting.
  static void catchScript(pid_t pid) {
    ASSERT_EQ(ptrace(PTRACE_SEIZE, pid, nullptr, PTRACE_O_TRACEEXIT), 0);
    if (GetParam() == 't') {
      ASSERT_EQ(ptrace(PTRACE_INTERRUPT, pid, nullptr, nullptr), 0);
    }
    while (processStatus(pid)->cState != GetParam()) {
      usleep(1000);
    }
  }

  /// Tells whether the process has a pending signal.
  static bool waits(pid_t pid, int iSignal) {
    constexpr char FIELD[] = "ShdPnd:";
    const std::string strStatus = OrvaTest::readFile("/proc/" + std::to_string(pid) + "/status");
    const std::string strSignals = strStatus.substr(strStatus.find(FIELD) + sizeof FIELD - 1);
    return (std::stoull(strSignals, nullptr, 16) >> (iSignal - 1) & 1) != 0;
  }
};

}  // namespace

TEST_F(EndingOfARun, ScriptThatItsShellStartsAfterwardsIsAskedToo) {
  RunEnding end(Process(m_pid), PATIENT);
  ASSERT_TRUE(end.hasWork());
  end.ask();
  EXPECT_FALSE(end.step());
  beginScript();
  EXPECT_EQ(finish(end), 128 + SIGTERM);
}

TEST_F(EndingOfARun, ScriptThatRunsIsAskedAndItsShellTellsHowItEnded) {
  beginScript();
  while (ProcessTable().below(m_pid).size() < 2) {
    usleep(1000);
  }
  RunEnding end(Process(m_pid), PATIENT);
  end.ask();
  EXPECT_EQ(finish(end), 128 + SIGTERM);
}

TEST_F(EndingOfARun, ShellThatStartsNothingIsMadeToEndWhenTheTimeIsOver) {
  RunEnding end(Process(m_pid), std::chrono::seconds(0));
  end.ask();
  EXPECT_EQ(finish(end), 1);
}

TEST_P(RunOfWaiting, IsKilledWithoutWaitingUntilAllIsStopped) {
  const pid_t pidScript = beginScript();
  catchScript(pidScript);
  RunEnding end(Process(m_pid), std::chrono::seconds(0));
  end.ask();
  EXPECT_FALSE(end.step());
  int iStatus = 0;
  do {
    ASSERT_EQ(waitpid(pidScript, &iStatus, __WALL), pidScript);
  } while (iStatus >> 8 != (SIGTRAP | PTRACE_EVENT_EXIT << 8));
  EXPECT_TRUE(waits(pidScript, SIGTERM));
  EXPECT_FALSE(waits(pidScript, SIGSTOP)) << "it was waited for";
  ptrace(PTRACE_DETACH, pidScript, nullptr, nullptr);
  while (!end.step()) {
    usleep(1000);
  }
  EXPECT_EQ(waitpid(m_pid, &iStatus, 0), m_pid);
  EXPECT_TRUE(ProcessTable().below(getpid()).empty());
}

INSTANTIATE_TEST_SUITE_P(InState, RunOfWaiting, testing::Values('t', 'D'),
                         [](const auto& testInfo) { return std::string(1, testInfo.param); });
