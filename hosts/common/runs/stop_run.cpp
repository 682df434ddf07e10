#include "stop_run.h"

#include <fmt/format.h>
#include <optional>

#include "common/coordination/execution_file.h"
#include "common/server/log_event.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/support/try_until.h"
#include "common/text/json_members.h"
#include "outcome.h"
#include "reconcile.h"
#include "run_group.h"
#include "run_identity.h"

namespace Host {

namespace {

constexpr std::chrono::milliseconds PAUSE(50);

/// Waits until the execution has closed the run; closes it here when the execution was killed meanwhile.
/// \return false when the time was up.
bool waitUntilClosed(Session& session, Json::Int64 iRun, std::chrono::seconds limit, Json::Value& jRun) {
  return tryUntil(limit, PAUSE, [&] {
    jRun = requireRun(session, iRun);
    if (!jRun.isMember("stop_time") && !isRunAlive(jRun)) {
      reconcile(session);
      jRun = requireRun(session, iRun);
    }
    return jRun.isMember("stop_time");
  });
}

/// Ends and closes a run that has no execution any more.
/// \throw Failure when another program started it.
void endWithKilledExecution(Session& session, Json::Int64 iRun) {
  reconcile(session);
  const Json::Value jRun = requireRun(session, iRun);
  if (!jRun.isMember("stop_time") && isRunAlive(jRun)) {
    throw Failure(fmt::format("run {} was started by another program, in process {}: only that program can end it",
                              iRun, pidOf(jRun)));
  }
}

}  // namespace

Json::Value stopRun(Session& session, const Json::Value& jRun, std::chrono::seconds grace, const StopLimits& limits) {
  const Json::Int64 iRun = intOf(jRun, "result_id");
  const pid_t pid = pidOf(jRun);
  const std::optional<LiveExecution> execution = executionOf(pid, iRun);
  if (execution) {
    execution->endRun(pid, ENDED_STOPPED, grace);
  } else {
    endWithKilledExecution(session, iRun);
  }
  Json::Value jEnded;
  const bool blClosed = waitUntilClosed(session, iRun, grace + limits.kill + limits.close, jEnded);
  const bool blEmpty = !execution || tryUntil(limits.kill, PAUSE, [&] {
    const std::optional<LiveExecution> now = executionOf(pid, iRun);
    return !now || RunGroup(now->notes.groupOf(pid), pid).isEmpty();
  });
  if (!blEmpty) {
    throw Failure(
        fmt::format("run {} did not end: one of its processes was killed and has not ended; it may be waiting for a "
                    "disk that does not respond",
                    iRun));
  }
  if (textOf(jEnded, "ended_by") == ENDED_STOPPED) {
    logEvent(LogEvent::RUN_STOPPED, textOf(jEnded, "task_name"), std::to_string(iRun));
  }
  if (!blClosed) {
    throw Failure(fmt::format("run {} was ended, but its execution has not closed it", iRun));
  }
  return jEnded;
}

}  // namespace Host
