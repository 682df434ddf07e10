// JSON documents as files and as one line of text.

#pragma once

#include <json/value.h>
#include <string>

namespace Orva {

// Parses a whole document: no trailing text, no member twice, no NUL; comments are skipped. False leaves null.
bool parseJson(const std::string& strText, Json::Value& jOut);

// Parses a regular file. False leaves null.
bool fromFile(Json::Value& jOut, const std::string& strPath);

// Writes the value beside the target, syncs it and renames it: readers, and whoever looks after a power cut, see the
// old file or the new one, never a part. A link in the target's place is replaced, not followed. blStyled indents the
// text. False when anything failed, also when the value would not read back, and the target is then as it was.
bool toFile(const Json::Value& jValue, const std::string& strPath, bool blStyled);

// The value on one line, without a newline.
std::string toString(const Json::Value& jValue);

}  // namespace Orva
