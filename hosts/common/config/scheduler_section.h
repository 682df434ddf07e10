/// \file scheduler_section.h
/// The section of the configuration that the library reads.
///
/// The library finds output in the configured place only. So the hosts keep the former places in the section, as
/// `former_output_paths`: an array of strings, the newest first.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

/// Gives the scheduler's section of the configuration; an empty object when there is none.
Json::Value schedulerConfig();

/// The text of the whole configuration file with this section. \throw Failure when the present file cannot be read.
std::string configFileWith(const Json::Value& jSection);

/// The configured place, also when no output is kept, then the former ones.
std::vector<std::string> outputPlaces(const Json::Value& jConfig);

/// Sets a place in a section; the old one becomes a former one.
void changeOutputPlace(Json::Value& jConfig, const std::string& strPath);

/// The setting of run output, for people.
std::string outputSetting(const Json::Value& jConfig);

}  // namespace Host
