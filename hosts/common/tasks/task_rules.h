/// \file task_rules.h
/// The rules for tasks, checked before a task is stored: the library stores whatever it gets.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "common/support/failure.h"
#include "server_facts.h"
#include "task_graph.h"

namespace Host {

/// An error in one member of a record.
struct Finding {
  std::string strMember;
  std::string strReason;
  bool blOfWalk = false;  ///< about a path through several tasks

  /// "MEMBER: REASON", with the word by which users know the member.
  std::string text() const;
};

struct Findings {
  std::vector<Finding> vecErrors;    ///< the task cannot be stored
  std::vector<Finding> vecWarnings;  ///< the task can be stored, but is probably not meant like this
  Hint hint;                         ///< helps against an error
};

/// \param szDone  for "is not ...": "added", "changed".
/// \throw Failure with all errors and warnings when there are errors.
/// \return the warnings.
std::vector<Finding> requireNoErrors(const std::string& strTask, const Findings& findings, const char* szDone);

/// Which events a task may be bound to.
enum class AllowedEvents {
  KNOWN,  ///< those of the catalogue, those that were added, and those that have a task
  ANY,    ///< any name
};

/// A stored task keeps a name that a new one could not have.
enum class TaskName { NEW, KEPT };

/// Checks a new task, and reports everything at once.
/// \param jTask   a task record in the form of the user interface.
/// \param jTasks  array: the stored task records.
Findings checkNewTask(const Json::Value& jTask, const Json::Value& jTasks, AllowedEvents events);

/// Checks a changed task. An existing error in an unchanged member is only a warning, so that users can repair errors
/// one by one. An unchanged event may have any name.
/// \param jTask    a task record in the form of the user interface; it may have a new name.
/// \param jBefore  the task as it is stored, from requestOf().
/// \param jTasks   array: the stored task records.
Findings checkChangedTask(const Json::Value& jTask, const Json::Value& jBefore, const Json::Value& jTasks,
                          AllowedEvents events);

/// Checks one of many tasks, like checkNewTask(), with a graph that is built once for all of them.
/// \param graph  the tasks as they will be, this one among them.
/// \param facts  knows the events that have tasks.
Findings checkTaskAmong(const Json::Value& jTask, TaskName name, const TaskGraph& graph, AllowedEvents events,
                        ServerFacts& facts);

/// Checks a stored task: its users or programs may no longer exist, or another program stored it. Its event may have
/// any name. When a task waits for one of another event, only the task that waits is reported.
/// \param graph  the stored tasks.
Findings checkStoredTask(const Json::Value& jStored, const TaskGraph& graph, ServerFacts& facts);

}  // namespace Host
