/// \file duration.h
/// Durations as people type and read them.

#pragma once

#include <ctime>
#include <json/value.h>
#include <optional>
#include <string>
#include <string_view>

namespace Host {

/// The accepted forms, for messages and help.
inline constexpr char DURATION_FORMS[] = "30s, 5m, 2h30m or 1d; a number alone is seconds";

/// Reads a duration. \return seconds; nothing when the text is none of these forms.
std::optional<std::time_t> durationFrom(std::string_view strText);

/// Seconds as they can be typed: "30s", "2h30m".
std::string durationText(Json::Int64 iSeconds);

/// How long something took, in two units at most: "3m12s", "2h5m".
std::string elapsedText(Json::Int64 iSeconds);

/// CPU time, in microseconds: "12ms", "3.4s", "3m12s".
std::string cpuTimeText(Json::Int64 iMicroseconds);

}  // namespace Host
