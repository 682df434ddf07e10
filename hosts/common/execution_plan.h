/// \file execution_plan.h
/// What an execution is expected to run.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "execution_request.h"
#include "session.h"
#include "task_graph.h"
#include "task_lock.h"

namespace Host {

/// Checked and made ready.
struct ExecutionPlan {
  std::vector<GraphTask> vecTasks;       ///< in the order in which they can start
  std::vector<std::string> vecFirst;     ///< those of them that others wait to see started
  std::vector<std::string> vecWarnings;  ///< what the user should know
  Json::Int64 iLastResult = 0;           ///< runs up to this one are older
};

/// Checks that the request can be run safely, announces its tasks, and makes their output folders ready.
/// \throw Failure with the reason; nothing has been run then.
ExecutionPlan prepareExecution(Session& session, const ExecutionRequest& request, TaskLock& lock);

}  // namespace Host
