/// \file stop_run.h
/// Ends a run on request.

#pragma once

#include <chrono>
#include <json/value.h>

#include "common/support/process.h"

namespace Host {

class Session;

/// Wait limits.
struct StopLimits {
  std::chrono::seconds kill = KILL_LIMIT;  ///< for the end of killed processes
  std::chrono::seconds close{60};          ///< for the execution to close the run
};

/// Ends an open run with all processes that its script started, and waits until its execution has closed it. Closes it
/// here when the execution has ended.
/// \param grace  time for the processes to end after they were asked, before they are killed.
/// \return the record of the closed run.
/// \throw Failure when a wait limit is over.
Json::Value stopRun(Session& session, const Json::Value& jRun, std::chrono::seconds grace,
                    const StopLimits& limits = StopLimits());

}  // namespace Host
