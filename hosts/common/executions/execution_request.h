/// \file execution_request.h
/// What is to be run.

#pragma once

#include <chrono>
#include <ctime>
#include <string>
#include <utility>
#include <vector>

#include "common/support/process.h"

namespace Host {

/// Every task of an event, or one task.
struct ExecutionRequest {
  bool blByEvent = true;
  std::string strName;                                              ///< the event, or the task
  std::time_t firedAt = 0;                                          ///< when it happened
  std::vector<std::pair<std::string, std::string>> vecEnvironment;  ///< what scripts are told about it
  std::chrono::seconds budget{0};                                   ///< how long it may take at most; 0 is no limit
  bool blLeaveNothing = false;                                      ///< what scripts have left behind is ended, too

  /// How long after its budget and the grace it is ended without its runs being closed, and what cannot be killed is
  /// waited for.
  std::chrono::seconds lastResort = KILL_LIMIT;

  /// What a failure, or a summary, is about.
  const char* kind() const { return blByEvent ? "event" : "task"; }
};

}  // namespace Host
