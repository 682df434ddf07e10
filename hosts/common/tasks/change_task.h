/// \file change_task.h
/// Storing changed members of a task.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "task_rules.h"

namespace Host {

/// What has become of a task.
struct TaskChanged {
  std::vector<std::string> vecMembers;  ///< those that are different now
  std::vector<Finding> vecWarnings;     ///< what the user should know
};

/// Changes a task, after it has been looked over.
/// \param jChanges   members in the form of the user interface.
/// \param strScript  when given, the script that must still be there: the change was made from it.
/// \return what is different now.
/// \throw Failure with all that is wrong; the task stays as it is then.
TaskChanged changeTask(const std::string& strTask, const Json::Value& jChanges, AllowedEvents events,
                       const std::optional<std::string>& strScript = std::nullopt);

}  // namespace Host
