// The scheduler's own section of the configuration file.

#pragma once

#include <json/value.h>

namespace Orva {

constexpr const char* OWN_SECTION = "eorvascheduler";

// The argument of configGet() for reading it. Stored with configSet(), it is the section of a new system.
inline Json::Value ownSection() {
  Json::Value jSection(Json::objectValue);
  jSection["type"] = OWN_SECTION;
  return jSection;
}

}  // namespace Orva
