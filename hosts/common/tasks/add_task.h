/// \file add_task.h
/// Storing new tasks.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "task_rules.h"

namespace Host {

struct TaskAdded {
  Json::Value jTask;                 ///< the record as it is stored
  std::vector<Finding> vecWarnings;  ///< warnings for the user
};

/// Adds a task. Members that are missing get their defaults.
/// \param jTask  a task record in the form of the user interface.
/// \throw Failure with all errors; nothing is stored then. copyTask() throws likewise.
TaskAdded addTask(Json::Value jTask, AllowedEvents events);

/// Adds a task like another one.
/// \param jChanges  members that the copy gets instead, in the form of the user interface.
TaskAdded copyTask(const std::string& strTask, const std::string& strNew, const Json::Value& jChanges,
                   AllowedEvents events);

}  // namespace Host
