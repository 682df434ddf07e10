/// \file output_setting.h
/// Where the output of runs is kept, as the configuration says.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// The setting in words.
std::string outputSetting(const Json::Value& jConfig);

}  // namespace Host
