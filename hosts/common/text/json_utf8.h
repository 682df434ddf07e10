/// \file json_utf8.h
/// Makes values with any bytes in their texts valid JSON, which is UTF-8.

#pragma once

#include <json/value.h>
#include <string>
#include <string_view>

namespace Host {

/// Suffix of the member that holds the bytes of a text that is not UTF-8.
inline constexpr char BASE64_SUFFIX[] = "_base64";

/// Tells whether all texts in a value are UTF-8.
bool isAllUtf8(const Json::Value& jValue);

/// Replaces bytes that are not UTF-8 with U+FFFD. Such a member gets a second one, NAME_base64, with the original text;
/// a text in a list does not.
Json::Value inUtf8(const Json::Value& jValue);

/// Escapes the control characters that JSON texts may have as they are: in a document that was written without them a
/// terminal would obey them.
std::string withoutControls(std::string_view strJson);

}  // namespace Host
