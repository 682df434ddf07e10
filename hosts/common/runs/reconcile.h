/// \file reconcile.h
/// Closes the records of interrupted runs.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "common/support/process.h"

namespace Host {

class Session;

/// Tells whether an open run still has its process, or an execution that will close it.
bool isRunAlive(const Json::Value& jRun);

/// Opens the process of an open run.
/// \return nothing when it has ended, or its id belongs to another process now.
std::optional<Process> processOf(Session& session, const Json::Value& jRun);

/// The living processes on the running list of a task.
std::vector<pid_t> listedPidsOf(Session& session, const Json::Value& jTask);

/// The living processes of a task, also those that are not on its running list yet.
std::vector<pid_t> livePidsOf(Session& session, const std::string& strTask);

/// Closes the runs whose process has ended as interrupted. Removes these processes from the running lists, so that they
/// no longer keep tasks from starting.
/// \return the new records of the closed runs.
std::vector<Json::Value> reconcile(Session& session);

}  // namespace Host
