#include "scheduler_section.h"

#include <fmt/format.h>

#include "eorvascheduler.h"

#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

Json::Value schedulerConfig() {
  Json::Value jFilter(Json::objectValue);
  jFilter["type"] = CONFIG_TYPE;
  Json::Value jConfig(Json::objectValue);
  if (configGet(jFilter, jConfig) < 0) {
    throw Failure(fmt::format("cannot read the configuration {}: it is no JSON object", CONFIG_PATH));
  }
  return jConfig.isObject() ? jConfig : Json::Value(Json::objectValue);
}

}  // namespace Host
