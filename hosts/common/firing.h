/// \file firing.h
/// What the event hook writes down when an event is fired, for those who ask later why a task did not run.
///
/// It is a note, and not worth an execution: who calls this goes on when it fails.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>

#include "execution_file.h"
#include "execution_plan.h"
#include "execution_request.h"
#include "firing_table.h"
#include "session.h"
#include "start_reason.h"

namespace Host {

/// Writes down which tasks the event has, and why some of them will not be started.
/// \param jTasks  the stored tasks.
/// \param strProblem  why none of them will be; empty when they will.
/// \return the id of the note. \throw std::exception
Json::Int64 rememberFiring(Session& session, const ExecutionRequest& request, const Json::Value& jTasks,
                           const ExecutionPlan& plan, const std::string& strProblem);

/// Writes down why some of the tasks that were to be started were not. \throw std::exception
void rememberEnd(Session& session, const ExecutionPlan& plan, const ExecutionFile& file, bool blOverBudget);

/// The last time that an event was fired.
struct LastFiring {
  Firing firing;
  ExecutionFacts facts;
  FiringReasons mapReasons;
};

/// \return nothing when none is remembered.
std::optional<LastFiring> lastFiring(Session& session, const std::string& strEvent);

}  // namespace Host
