/// \file json_reader.h
/// JSON as text, read strictly: no remarks, no member twice, nothing behind it.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// Reads an object or an array. \throw Failure that tells what is wrong with it, in one line.
Json::Value readJson(const std::string& strText);

/// The same; null when it is none.
Json::Value readJsonOrNull(const std::string& strText);

}  // namespace Host
