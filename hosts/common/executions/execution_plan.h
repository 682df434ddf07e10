/// \file execution_plan.h
/// The tasks that an execution is expected to run.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "common/coordination/task_lock.h"
#include "common/tasks/task_graph.h"
#include "execution_request.h"

namespace Host {

class Session;

/// The tasks of an execution, checked and prepared.
struct ExecutionPlan {
  std::vector<GraphTask> vecTasks;       ///< in the order in which they can start
  std::vector<std::string> vecWarnings;  ///< warnings for the user
  Json::Value jTasks;                    ///< the relations that matter, see relationsOf()
  Json::Int64 iLastRun = 0;              ///< runs up to this one are older
  Json::Int64 iFiring = 0;               ///< the recorded firing; 0 for none
};

/// Lists, as listRelations() does, the tasks that a request has to know.
Json::Value relationsOf(Session& session, const ExecutionRequest& request);

/// Checks that the request can be run safely, announces its tasks, and prepares their output folders.
/// \throw Failure with the reason; nothing has run then.
ExecutionPlan prepareExecution(Session& session, const ExecutionRequest& request, TaskLock& lock);

/// Prepares the output folders of tasks right before they start. A disk may have been changed since the start of the
/// execution.
/// \param output      the place that the execution uses, as SHARE/PATH; nothing without output.
/// \param vecTasks    tasks that may start.
/// \param vecStarted  tasks that may have started: their owners matter when no output is kept.
/// \return warnings. \throw Failure with the reason why none of them may start.
std::vector<std::string> prepareFolders(const std::optional<std::string>& output,
                                        const std::vector<GraphTask>& vecTasks,
                                        const std::vector<GraphTask>& vecStarted = {});

/// The library would skip a task that is running, and the user asked for a run.
/// \throw Failure when the task is running and does not allow several runs at once.
void refuseSecondRun(Session& session, const std::string& strTask);

/// Says why the tasks of an event cannot be run. \throw Failure with the reasons, if there are any.
void checkGraph(const TaskGraph& graph, const std::string& strEvent);

}  // namespace Host
