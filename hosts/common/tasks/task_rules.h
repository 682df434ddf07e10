/// \file task_rules.h
/// What a task must look like before it may be stored: the library stores whatever it is given.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "task_graph.h"

namespace Host {

/// What is wrong with one member of a record.
struct Finding {
  std::string strMember;
  std::string strReason;
  bool blOfWalk = false;  ///< about a way through several tasks, which the member is only a part of
};

struct Findings {
  std::vector<Finding> vecErrors;    ///< the task must not be stored
  std::vector<Finding> vecWarnings;  ///< it may, but will hardly do what is meant
};

/// \param szDone  what does not happen when there are errors: "added", "changed".
/// \throw Failure with all errors and warnings when there are errors.
/// \return the warnings.
std::vector<Finding> requireNoErrors(const std::string& strTask, const Findings& findings, const char* szDone);

/// Which events a task may be bound to.
enum class AllowedEvents {
  CATALOGUE,  ///< those of the installed catalogue
  ANY,        ///< any, for whoever fires events of his own
};

/// Looks a new task over and reports everything at once.
/// \param jTask   a task record in the form of the user interface.
/// \param jTasks  array: the stored task records.
Findings checkNewTask(const Json::Value& jTask, const Json::Value& jTasks, AllowedEvents events);

/// Looks a changed task over. What was wrong before and is not touched has not come in now: it is only a warning, so
/// that one fault does not keep another one from being mended. An event that stays may be any.
/// \param jTask    a task record in the form of the user interface; it may have a new name.
/// \param jBefore  the same as it is stored, from requestOf().
/// \param jTasks   array: the stored task records.
Findings checkChangedTask(const Json::Value& jTask, const Json::Value& jBefore, const Json::Value& jTasks,
                          AllowedEvents events);

/// Looks one of many new tasks over, as checkNewTask() does, with a graph that is built once for all of them.
/// \param graph  the tasks as they will be, this one among them.
Findings checkTaskAmong(const Json::Value& jTask, const TaskGraph& graph, AllowedEvents events);

/// Looks a stored task over: what stands in it may have been sound once, or have been stored by other means. Its event
/// may be any, and of a task that waits for one of another event only the one that waits is reported.
/// \param graph  the stored tasks.
Findings checkStoredTask(const Json::Value& jStored, const TaskGraph& graph);

}  // namespace Host
