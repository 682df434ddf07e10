/// \file output_places.h
/// The places of run output that the configuration knows.
///
/// The library finds what a run left by the place that is configured now. So that nothing is lost from sight when that
/// changes, the former places are noted in the scheduler's section, as `former_output_paths`: an array of strings, the
/// newest first.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

/// The member of the section that holds them.
inline constexpr char FORMER_OUTPUT_PATHS[] = "former_output_paths";

/// The configured place, whether output is kept or not, then the former ones.
std::vector<std::string> outputPlaces(const Json::Value& jConfig);

/// Sets another place in a section; the one that was set becomes a former one.
void changeOutputPlace(Json::Value& jConfig, const std::string& strPath);

}  // namespace Host
