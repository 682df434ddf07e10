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
  std::vector<Finding> vecWarnings;  ///< what the user should know
};

/// Adds a task. Members that are missing get their defaults.
/// \param jTask  a task record in the form of the user interface.
/// \throw Failure with everything that is wrong; nothing is stored then. So does copyTask().
TaskAdded addTask(Json::Value jTask, AllowedEvents events);

/// Adds a task like another one.
/// \param jChanges  members that the new one has in their place, in the form of the user interface.
TaskAdded copyTask(const std::string& strTask, const std::string& strNew, const Json::Value& jChanges,
                   AllowedEvents events);

}  // namespace Host
