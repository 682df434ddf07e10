// Record shapes that several folders use.

#pragma once

#include "support/json_read.h"

namespace Orva {

// The filter for a task has only its name; null if the task has no name.
inline Json::Value taskFilter(const Json::Value& jTask) {
  Json::Value jFilter(Json::objectValue);
  jFilter["task_name"] = memberOf(jTask, "task_name");
  return jFilter;
}

}  // namespace Orva
