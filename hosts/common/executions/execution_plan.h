/// \file execution_plan.h
/// What an execution is expected to run.

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

/// Checked and made ready.
struct ExecutionPlan {
  std::vector<GraphTask> vecTasks;       ///< in the order in which they can start
  std::vector<std::string> vecWarnings;  ///< what the user should know
  Json::Int64 iLastResult = 0;           ///< runs up to this one are older
  Json::Int64 iFiring = 0;               ///< what is remembered of the event; 0 when nothing is
};

/// Checks that the request can be run safely, announces its tasks, and makes their output folders ready.
/// \throw Failure with the reason; nothing has been run then.
ExecutionPlan prepareExecution(Session& session, const ExecutionRequest& request, TaskLock& lock);

/// Makes the output folders of tasks ready, right before they are started: the place may be another one than it was
/// when the execution began, after a disk was changed for example.
/// \param output      the place that the execution uses, as it is written in the configuration; nothing without output.
/// \param vecTasks    those that may be started.
/// \param vecStarted  those that may have been started: without output folders it matters whose they are.
/// \return what the user should know. \throw Failure with the reason why none of them may be run.
std::vector<std::string> prepareFolders(const std::optional<std::string>& output,
                                        const std::vector<GraphTask>& vecTasks,
                                        const std::vector<GraphTask>& vecStarted = {});

/// Takes the turn of tasks that are about to be started, until they have been started. Others that want to start them
/// wait for that: so they find out whether a task runs, and start it in a second of its own. A task that will be found
/// running needs no turn.
void takeTurns(Session& session, const std::vector<std::string>& vecTasks, TaskLock& lock);

/// The tasks that start at once.
std::vector<std::string> firstTasks(const TaskGraph& graph, const ExecutionRequest& request);

/// Says why the tasks of an event cannot be run. \throw Failure with the reasons, if there are any.
void checkGraph(const TaskGraph& graph, const std::string& strEvent);

}  // namespace Host
