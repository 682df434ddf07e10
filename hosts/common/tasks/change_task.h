/// \file change_task.h
/// Storing changed members of a task.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "task_rules.h"

namespace Host {

/// The result of a change.
struct TaskChanged {
  std::vector<std::string> vecMembers;  ///< the changed members
  std::vector<Finding> vecWarnings;     ///< warnings for the user
};

/// Checks a change of a task, and makes it.
/// \param jChanges   members in the form of the user interface.
/// \param strScript  when given, the script before the edit: the task must still have it.
/// \throw Failure with all errors; the task is unchanged then.
TaskChanged changeTask(const std::string& strTask, const Json::Value& jChanges, AllowedEvents events,
                       const std::optional<std::string>& strScript = std::nullopt);

}  // namespace Host
