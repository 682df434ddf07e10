/// \file related_tasks.h
/// The direct and indirect dependencies and dependants of a task.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

enum class Relation {
  WAITS_FOR,   ///< all that it waits for, directly or through others
  DEPENDANTS,  ///< all that wait for it, directly or through others
  CANDIDATES,  ///< the tasks of its event that are in neither
};

/// Lists the records of the related tasks.
/// \throw Failure when there is no such task, or a walk through the tasks would not end.
Json::Value relatedTasks(const std::string& strTask, Relation relation);

/// The records of the other tasks, as they are after a task got a new name, which may be the old one.
/// \param jTasks  array: the stored task records.
Json::Value tasksBesides(const Json::Value& jTasks, const std::string& strTask, const std::string& strNew);

}  // namespace Host
