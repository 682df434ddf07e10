/// Runs that cannot be stopped, and the failures about them.

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
  /// The failure of a stop with these limits.
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
  // A killed process that is traced stops once more for its tracer, and gets no other signal there.
  ASSERT_EQ(ptrace(PTRACE_SEIZE, pidScript, nullptr, PTRACE_O_TRACEEXIT), 0);
  EXPECT_EQ(complaint({TOO_LONG, NOT_AT_ALL, TOO_LONG}),
            "run 1 did not end: one of its processes was killed and has not ended; it may be waiting for a disk that "
            "does not respond");
  EXPECT_EQ(endedBy(), "stopped");
  // The process of the run was continued, and ends after its script.
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
  // There is no execution that closes the run.
  EXPECT_EQ(complaint({TOO_LONG, TOO_LONG, NOT_AT_ALL}), "run 1 was ended, but its execution has not closed it");
  EXPECT_EQ(endedBy(), "stopped");
}
