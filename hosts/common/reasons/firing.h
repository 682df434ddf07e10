/// \file firing.h
/// Records, when an event is fired, why tasks are not started.
///
/// An execution continues when recording fails.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "common/coordination/execution_file.h"
#include "common/tasks/task_graph.h"
#include "firing_table.h"
#include "not_started.h"

namespace Host {

class Session;

/// The facts about an event when its execution begins.
struct FiringBegin {
  std::string strEvent;
  Json::Int64 iFiredAt = 0;         ///< when it happened, in seconds since 1970
  Json::Int64 iLastRun = 0;         ///< runs up to this one are older
  std::vector<GraphTask> vecTasks;  ///< the tasks to be started
  std::string strProblem;           ///< why no task can be started; empty when they can
};

/// Records which tasks the event has, and why some of them will not be started.
/// \param jTasks  the stored tasks.
/// \return the id of the record. \throw std::exception
Json::Int64 rememberFiring(Session& session, const FiringBegin& begin, const Json::Value& jTasks);

/// Records why some of the tasks to be started were not.
/// \param iFiring  from rememberFiring(). \throw std::exception
void rememberEnd(Session& session, Json::Int64 iFiring, const ExecutionNotes& notes, bool blOverBudget);

/// A task of an event that was not started.
struct LeftOut {
  std::string strTask;
  std::vector<Reason> vecReasons;

  /// Tells whether the task should have run. Nobody expects that of a task that is disabled, or waits for one.
  bool isFailure() const;
};

/// The tasks that were not started when an event was fired. \param iFiring  from rememberFiring(). \throw
/// std::exception
std::vector<LeftOut> leftOut(Session& session, Json::Int64 iFiring);

/// The last time that an event was fired.
struct LastFiring {
  Firing firing;
  ExecutionFacts facts;
  FiringReasons mapReasons;
};

/// \return nothing when none is recorded.
std::optional<LastFiring> lastFiring(Session& session, const std::string& strEvent);

}  // namespace Host
