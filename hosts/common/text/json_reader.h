/// \file json_reader.h
/// Reads JSON strictly: no comments, no duplicate members, nothing after the value.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// Reads an object or an array. \throw Failure with the error, in one line.
Json::Value readJson(const std::string& strText);

/// Reads an object or an array; gives null when it is not JSON.
Json::Value readJsonOrNull(const std::string& strText);

}  // namespace Host
