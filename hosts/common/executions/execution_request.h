/// \file execution_request.h
/// The request for an execution.

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
  std::time_t firedAt = 0;                                          ///< when the event happened
  std::vector<std::pair<std::string, std::string>> vecEnvironment;  ///< variables for the scripts
  std::chrono::seconds budget{0};                                   ///< time limit of the whole execution; 0 for none
  bool blLeaveNothing = false;                                      ///< end background processes of the scripts

  bool blService = false;  ///< runs in a service of its own

  /// Extra time after the budget and the grace. Then the execution ends although runs are not closed or processes
  /// cannot be killed.
  std::chrono::seconds lastResort = KILL_LIMIT;

  /// For messages: "event" or "task".
  const char* kind() const { return blByEvent ? "event" : "task"; }

  /// For the unit of the execution: a part of its name, and its description.
  std::string unitPart() const { return (blByEvent ? "fire-" : "run-") + strName; }
  std::string description() const { return std::string("Scheduler ") + kind() + " " + strName; }
};

}  // namespace Host
