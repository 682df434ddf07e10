/// \file amounts.h
/// Times, numbers and sizes as people read them.

#pragma once

#include <cstddef>
#include <cstdint>
#include <json/value.h>
#include <string>

namespace Host {

/// Seconds since 1970 as local time; "-" for 0.
std::string timeText(Json::Int64 iTime);

/// A number of things: "1 run", "2 runs".
std::string countText(std::size_t cThings, const char* szThing);

/// Bytes as "812 B", "1.5 KiB", "3.2 GiB".
std::string sizeText(std::uint64_t cb);

}  // namespace Host
