/// \file stop_run.h
/// A run that is ended on request, from its first moment to its record.

#pragma once

#include <chrono>
#include <json/value.h>

#include "common/support/process.h"

namespace Host {

class Session;

/// How long is waited for what usually takes a moment.
struct StopLimits {
  std::chrono::seconds begin{60};          ///< a script begins, unless its folder or the list of users does not answer
  std::chrono::seconds kill = KILL_LIMIT;  ///< what was killed is gone
  std::chrono::seconds close{60};          ///< an execution closes a run that was ended, unless the store is busy
};

/// Ends an open run with everything that its script has started, as soon as there is something to be ended, and waits
/// until it is closed: by its execution, or here when that is gone.
/// \param grace  how long what is to end may take when it is asked to, before it is made to.
/// \return the record then.
/// \throw Failure which tells what has not come about in its time.
Json::Value stopRun(Session& session, const Json::Value& jRun, std::chrono::seconds grace,
                    const StopLimits& limits = StopLimits());

}  // namespace Host
