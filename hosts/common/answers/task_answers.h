/// \file task_answers.h
/// Tasks as JSON for programs: see docs/command-json.md.

#pragma once

#include <json/value.h>
#include <map>
#include <string>

namespace Host {

class TaskGraph;

/// The name of a task's or a run's owner, as it was stored; the user id when no name is known; a dash for none.
std::string ownerText(const Json::Value& jRecord);

/// Name of the owner of every task, by the task's name.
using OwnerNames = std::map<std::string, std::string>;
OwnerNames ownerNames(const Json::Value& jTasks);

/// A stored task record, with the names of its owner and its dependencies.
Json::Value taskForPrograms(const Json::Value& jTask);

/// A task of a graph: like taskForPrograms(), with the tasks that wait for it.
Json::Value graphNodeForPrograms(const TaskGraph& graph, const Json::Value& jTask);

}  // namespace Host
