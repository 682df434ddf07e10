// What the rooms share about the shape of records.

#pragma once

#include "support/json_read.h"

namespace Orva {

// The filter that finds a task: its name and nothing else. Null for the name that a task lacks.
inline Json::Value taskFilter(const Json::Value& jTask) {
  Json::Value jFilter(Json::objectValue);
  jFilter["task_name"] = memberOf(jTask, "task_name");
  return jFilter;
}

}  // namespace Orva
