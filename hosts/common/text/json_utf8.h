/// \file json_utf8.h
/// Values that can be written as JSON, which is UTF-8, whatever bytes are in their texts.

#pragma once

#include <json/value.h>
#include <string>

namespace Host {

/// What is added to the name of a member whose text is no UTF-8, for the one that holds its bytes.
inline constexpr char BASE64_SUFFIX[] = "_base64";

/// Tells whether all texts in a value are UTF-8.
bool isAllUtf8(const Json::Value& jValue);

/// The same value with U+FFFD in the place of bytes that are no UTF-8. A member that had such ones gets a second one
/// beside it, NAME_base64, that holds the text as it was; a text in a list gets none.
Json::Value inUtf8(const Json::Value& jValue);

}  // namespace Host
