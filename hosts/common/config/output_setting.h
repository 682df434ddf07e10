/// \file output_setting.h
/// The setting of run output, for people.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// The setting in words.
std::string outputSetting(const Json::Value& jConfig);

}  // namespace Host
