/// \file firing.h
/// What the event hook writes down when an event is fired, for those who ask later why a task did not run.
///
/// It is a note, and not worth an execution: who calls this goes on when it fails.

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

/// What is known of an event when its execution begins.
struct FiringBegin {
  std::string strEvent;
  Json::Int64 iFiredAt = 0;         ///< when it happened, in seconds since 1970
  Json::Int64 iLastResult = 0;      ///< runs up to this one are older
  std::vector<GraphTask> vecTasks;  ///< those that are to be started; none when nothing is
  std::string strProblem;           ///< why none of them will be; empty when they will
};

/// Writes down which tasks the event has, and why some of them will not be started.
/// \param jTasks  the stored tasks.
/// \return the id of the note. \throw std::exception
Json::Int64 rememberFiring(Session& session, const FiringBegin& begin, const Json::Value& jTasks);

/// Writes down why some of the tasks that were to be started were not.
/// \param iFiring  the note, from rememberFiring(). \throw std::exception
void rememberEnd(Session& session, Json::Int64 iFiring, const ExecutionFile& file, bool blOverBudget);

/// The last time that an event was fired.
struct LastFiring {
  Firing firing;
  ExecutionFacts facts;
  FiringReasons mapReasons;
};

/// \return nothing when none is remembered.
std::optional<LastFiring> lastFiring(Session& session, const std::string& strEvent);

}  // namespace Host
