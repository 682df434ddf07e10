/// \file output_places.h
/// The places of run output: the configured one and the former ones.
///
/// The library finds output in the configured place only. So the hosts keep the former places in the scheduler's
/// section, as `former_output_paths`: an array of strings, the newest first.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

/// The member of the section with the former places.
inline constexpr char FORMER_OUTPUT_PATHS[] = "former_output_paths";

/// The configured place, also when no output is kept, then the former ones.
std::vector<std::string> outputPlaces(const Json::Value& jConfig);

/// Sets a place in a section; the old one becomes a former one.
void changeOutputPlace(Json::Value& jConfig, const std::string& strPath);

}  // namespace Host
