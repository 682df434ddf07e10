/// \file running_list.h
/// The running lists of tasks: the processes of their current runs. They keep a task from starting twice.

#pragma once

#include <json/value.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Host {

class Session;

/// The living processes on the running list of a task.
std::vector<pid_t> listedPidsOf(Session& session, const Json::Value& jTask);

/// The living processes of a task, also those that are not on its running list yet.
std::vector<pid_t> livePidsOf(Session& session, const std::string& strTask);

/// Removes ended processes from all running lists, so that they no longer keep tasks from starting.
void pruneRunningLists(Session& session);

}  // namespace Host
