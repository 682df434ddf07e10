/// \file next_try.h
/// The failed runs whose tasks are run again, as the executions that wait for that know them.

#pragma once

#include <json/value.h>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "common/coordination/execution_file.h"

namespace Host {

class Session;

/// The next tries that have not begun, by the run that failed.
using NextTries = std::map<Json::Int64, TryNotes>;

NextTries nextTries();

/// The next try after a run; nothing when none is waiting.
std::optional<TryNotes> nextTryAfter(const NextTries& tries, const Json::Value& jRun);

/// The failed runs of a task whose next tries are waiting, the oldest first: several executions may have failed.
/// \throw Failure when the store fails.
std::vector<Json::Value> runsTriedAgain(Session& session, const NextTries& tries, const std::string& strTask);

/// Stops the next try after a run. \return false when none was waiting. \throw Failure when it has just begun.
bool stopNextTry(Json::Int64 iRun);

}  // namespace Host
