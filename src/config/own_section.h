// The scheduler's own section of the configuration file.

#pragma once

#include <json/value.h>

namespace Orva {

constexpr const char* OWN_SECTION = "eorvascheduler";

// What configGet() takes to read it, and, stored by configSet(), the section of a fresh system.
inline Json::Value ownSection() {
  Json::Value jSection(Json::objectValue);
  jSection["type"] = OWN_SECTION;
  return jSection;
}

}  // namespace Orva
