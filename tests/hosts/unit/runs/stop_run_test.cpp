/// Runs that cannot be stopped, and what is said about that.

#include "common/runs/stop_run.h"

#include <gmock/gmock.h>
#include <string>
#include <sys/ptrace.h>
#include <sys/wait.h>

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "run_test.h"

using namespace Host;

namespace {

class RunStopping : public HostTest::RunTest {
protected:
  /// What is said when nothing is waited for longer than a limit of none.
  static std::string complaint(const StopLimits& limits) {
    Session session;
    try {
      stopRun(session, requireRun(session, 1), std::chrono::seconds(0), limits);
    } catch (const Failure& failure) {
      return failure.what();
    }
    return "it was stopped";
  }

  static std::string endedBy() {
    Session session;
    return textOf(requireRun(session, 1), "ended_by");
  }
};

constexpr std::chrono::seconds NOT_AT_ALL(0);
constexpr std::chrono::hours TOO_LONG(1);

}  // namespace

TEST_F(RunStopping, SomethingThatDoesNotEvenEndWhenItIsKilledIsNotWaitedForLong) {
  const pid_t pidScript = beginScript();
  // A traced process that is killed waits for its tracer once more, and no second signal reaches it there.
  ASSERT_EQ(ptrace(PTRACE_SEIZE, pidScript, nullptr, PTRACE_O_TRACEEXIT), 0);
  EXPECT_EQ(complaint({TOO_LONG, NOT_AT_ALL, TOO_LONG}),
            "run 1 did not end: one of its processes is still there after it was killed; it may wait for a disk that "
            "does not answer");
  EXPECT_EQ(endedBy(), "stopped");
  // Its process was not left held, and goes on when what it waits for has ended.
  int iStatus = 0;
  ASSERT_EQ(waitpid(pidScript, &iStatus, __WALL), pidScript);
  EXPECT_EQ(iStatus >> 8, SIGTRAP | PTRACE_EVENT_EXIT << 8);
  ptrace(PTRACE_DETACH, pidScript, nullptr, nullptr);
  EXPECT_EQ(waitpid(m_pid, &iStatus, 0), m_pid);
}

TEST_F(RunStopping, ScriptThatHasNotBegunIsNotWaitedForLong) {
  EXPECT_EQ(complaint({NOT_AT_ALL, TOO_LONG, TOO_LONG}), "run 1 was not ended: its script has not started yet");
  EXPECT_EQ(endedBy(), "");
  beginScript();
}

TEST_F(RunStopping, ExecutionThatDoesNotCloseTheRunIsNotWaitedForLong) {
  beginScript();
  // Nobody collects it: an execution would, and close the run.
  EXPECT_EQ(complaint({TOO_LONG, TOO_LONG, NOT_AT_ALL}), "run 1 was ended, but its execution has not closed it");
  EXPECT_EQ(endedBy(), "stopped");
}
