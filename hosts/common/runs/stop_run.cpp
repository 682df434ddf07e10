#include "stop_run.h"

#include <fmt/format.h>
#include <thread>
#include <utility>

#include "common/store/records.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "outcome.h"
#include "reconcile.h"
#include "run_ending.h"

namespace Host {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds PAUSE(50);

/// \return false when there was nothing to be ended yet, or any more.
bool endProcesses(Session& session, Json::Int64 iResult, Process process, std::chrono::seconds grace,
                  std::chrono::seconds killLimit) {
  // The process of the run is held meanwhile.
  const DeferredSignals deferred;
  RunEnding end(std::move(process), grace);
  if (!end.hasWork() || !markEnded(session, iResult, ENDED_STOPPED)) {
    return false;
  }
  end.ask();
  const auto deadline = Clock::now() + 2 * grace + killLimit;
  while (!end.step()) {
    if (Clock::now() > deadline) {
      throw Failure(
          fmt::format("run {} cannot be ended: something that it started does not even end when it is "
                      "killed, as when it waits for a disk that does not answer",
                      iResult));
    }
    std::this_thread::sleep_for(PAUSE);
  }
  return true;
}

/// Ends the run as soon as there is something to be ended: its script may not have begun yet.
void endRun(Session& session, const Json::Value& jRun, std::chrono::seconds grace, const StopLimits& limits) {
  const Json::Int64 iResult = intOf(jRun, "result_id");
  const auto deadline = Clock::now() + limits.begin;
  for (;;) {
    std::optional<Process> process = processOf(session, jRun);
    if (!process || endProcesses(session, iResult, std::move(*process), grace, limits.kill)) {
      return;
    }
    if (Clock::now() > deadline) {
      throw Failure(fmt::format("run {} was not ended: its script has not begun yet", iResult));
    }
    std::this_thread::sleep_for(PAUSE);
  }
}

/// Waits until the run is closed: by its execution, or here when that is gone.
Json::Value waitUntilClosed(Session& session, Json::Int64 iResult, std::chrono::seconds limit) {
  const auto deadline = Clock::now() + limit;
  for (;;) {
    Json::Value jRun = requireRun(session, iResult);
    if (jRun.isMember("stop_time")) {
      return jRun;
    }
    if (!isRunAlive(jRun)) {
      reconcile(session);
    } else if (Clock::now() > deadline) {
      throw Failure(fmt::format("run {} was ended, but its execution does not close it", iResult));
    }
    std::this_thread::sleep_for(PAUSE);
  }
}

}  // namespace

Json::Value stopRun(Session& session, const Json::Value& jRun, std::chrono::seconds grace, const StopLimits& limits) {
  endRun(session, jRun, grace, limits);
  return waitUntilClosed(session, intOf(jRun, "result_id"), limits.close);
}

}  // namespace Host
