/// \file run_settings.h
/// The members of a task that say how its runs are launched and limited.

#pragma once

#include <cstdint>
#include <json/value.h>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Host {

/// How a run of a task is launched, and launched again.
struct RunSettings {
  std::string strDirectory = "/";                                   ///< where its script starts
  int iNice = 0;                                                    ///< from -20 to 19
  int iIoPriority = 0;                                              ///< as the kernel has it; 0 for none
  std::uint64_t cbMemory = 0;                                       ///< for all its processes together; 0 for no limit
  std::optional<std::uint64_t> outputLimit;                         ///< in bytes; nothing for that of the settings
  std::vector<std::pair<std::string, std::string>> vecEnvironment;  ///< variables of its own
  Json::Int64 cRetries = 0;                                         ///< how often a failed run is repeated
  Json::Int64 cRetryAfter = 0;                                      ///< seconds until then
};

/// Reads the members of a stored task. A value that another program stored and that is not valid counts as missing.
RunSettings runSettingsOf(const Json::Value& jTask);

/// Checks the members. One of the wrong type is not reported here.
/// \return each wrong member, and what is wrong with it.
std::vector<std::pair<std::string, std::string>> wrongRunSettings(const Json::Value& jTask);

/// Tells which members have no effect, because others are missing.
std::vector<std::pair<std::string, std::string>> idleRunSettings(const Json::Value& jTask);

}  // namespace Host
