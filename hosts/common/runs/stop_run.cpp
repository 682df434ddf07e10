#include "stop_run.h"

#include <fmt/format.h>
#include <utility>

#include "common/store/records.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/support/try_until.h"
#include "common/text/json_members.h"
#include "outcome.h"
#include "reconcile.h"
#include "run_ending.h"

namespace Host {

namespace {

constexpr std::chrono::milliseconds PAUSE(50);

/// \return false when the run has no process to end.
bool endProcesses(Session& session, Json::Int64 iResult, Process process, std::chrono::seconds grace,
                  std::chrono::seconds killLimit) {
  // The process of the run is stopped meanwhile.
  const DeferredSignals deferred;
  RunEnding end(std::move(process), grace);
  if (!end.hasWork() || !markEnded(session, iResult, ENDED_STOPPED)) {
    return false;
  }
  end.ask();
  if (!tryUntil(2 * grace + killLimit, PAUSE, [&] { return end.step(); })) {
    throw Failure(
        fmt::format("run {} did not end: one of its processes was killed and has not ended; it may be waiting for a "
                    "disk that does not respond",
                    iResult));
  }
  return true;
}

/// Ends the run as soon as its script has started.
void endRun(Session& session, const Json::Value& jRun, std::chrono::seconds grace, const StopLimits& limits) {
  const Json::Int64 iResult = intOf(jRun, "result_id");
  const bool blEnded = tryUntil(limits.begin, PAUSE, [&] {
    std::optional<Process> process = processOf(session, jRun);
    return !process || endProcesses(session, iResult, std::move(*process), grace, limits.kill);
  });
  if (!blEnded) {
    throw Failure(fmt::format("run {} was not ended: its script has not started yet", iResult));
  }
}

/// Waits until its execution has closed the run; closes it here when the execution has ended.
Json::Value waitUntilClosed(Session& session, Json::Int64 iResult, std::chrono::seconds limit) {
  Json::Value jRun;
  const bool blClosed = tryUntil(limit, PAUSE, [&] {
    jRun = requireRun(session, iResult);
    if (!jRun.isMember("stop_time") && !isRunAlive(jRun)) {
      reconcile(session);
      jRun = requireRun(session, iResult);
    }
    return jRun.isMember("stop_time");
  });
  if (!blClosed) {
    throw Failure(fmt::format("run {} was ended, but its execution has not closed it", iResult));
  }
  return jRun;
}

}  // namespace

Json::Value stopRun(Session& session, const Json::Value& jRun, std::chrono::seconds grace, const StopLimits& limits) {
  endRun(session, jRun, grace, limits);
  return waitUntilClosed(session, intOf(jRun, "result_id"), limits.close);
}

}  // namespace Host
