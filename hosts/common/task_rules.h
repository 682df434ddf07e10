/// \file task_rules.h
/// What a new task must look like before it may be stored: the library stores whatever it is given.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

/// What is wrong with one member of a record.
struct Finding {
  std::string strMember;
  std::string strReason;
};

struct Findings {
  std::vector<Finding> vecErrors;    ///< the task must not be stored
  std::vector<Finding> vecWarnings;  ///< it may, but will hardly do what is meant
};

/// Gives the members that a record lacks and that have a usual value.
/// \param jTask  object: a task record in the form of the user interface; changed in place.
void fillDefaults(Json::Value& jTask);

/// Looks a new task over and reports everything at once.
/// \param jTask   a task record in the form of the user interface: `owner` is an object of one member, the uid
///                in decimal, whose value is the user's name.
/// \param jTasks  array: the stored task records.
Findings checkNewTask(const Json::Value& jTask, const Json::Value& jTasks);

}  // namespace Host
