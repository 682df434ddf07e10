/// \file output_setting.h
/// Where the output of runs is kept, as the configuration says.

#pragma once

#include <json/value.h>
#include <string>

/// Keeps output at this place from now on. \throw Host::Failure when the place cannot be used.
void setOutputPath(const std::string& strPath);

/// Keeps output, or keeps none, without changing the place.
void setOutputEnabled(bool blEnabled);

/// The setting in words.
std::string outputSetting(const Json::Value& jConfig);
