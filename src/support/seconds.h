// Points in time, stored as Unix seconds in a signed 32-bit integer.

#pragma once

#include <cstdint>
#include <ctime>
#include <json/value.h>

namespace Orva {

// The only function that narrows a time.
inline long toSeconds(std::int64_t iTime) {
  return static_cast<std::int32_t>(iTime);
}

inline long currentSeconds() {
  return toSeconds(time(nullptr));
}

inline Json::Value jsonSeconds(long lSeconds) {
  return Json::Value(static_cast<Json::Int64>(lSeconds));
}

}  // namespace Orva
