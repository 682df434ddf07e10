/// \file reconcile.h
/// Brings the records in line with the processes that are really there.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "common/support/process.h"

namespace Host {

class Session;

/// Tells whether the process of an open run is still there, or its execution still has to close the run.
bool isRunAlive(const Json::Value& jRun);

/// Takes hold of the process of an open run.
/// \return nothing when it is gone, has ended, or when the number means another process by now.
std::optional<Process> processOf(Session& session, const Json::Value& jRun);

/// The processes on a task's running list that are still there.
std::vector<pid_t> listedPidsOf(Session& session, const Json::Value& jTask);

/// The same, with those that have a record already but are not on the list yet.
std::vector<pid_t> livePidsOf(Session& session, const std::string& strTask);

/// Closes every run whose process is gone, as interrupted, and takes the processes that are gone off the
/// running lists, so that they no longer keep a task from starting.
/// \return the records of the runs that were closed, as they are now.
std::vector<Json::Value> reconcile(Session& session);

}  // namespace Host
