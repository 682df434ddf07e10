// JSON documents as files and as one line of text.

#pragma once

#include <json/value.h>
#include <string>

namespace Orva {

// Parses a whole document: no trailing text, no duplicate member, no NUL; comments are skipped. On failure, returns
// false and jOut is null.
bool parseJson(const std::string& strText, Json::Value& jOut);

// Parses a regular file. On failure, returns false and jOut is null.
bool fromFile(Json::Value& jOut, const std::string& strPath);

// Writes the value to a file beside the target, syncs it and renames it. Readers see the old file or the new one, never
// a part, even after a power cut. If the target is a link, the link is replaced, not followed. blStyled indents the
// text. Returns false when a step failed or the value would not read back; the target is then unchanged.
bool toFile(const Json::Value& jValue, const std::string& strPath, bool blStyled);

// The value on one line, without a newline.
std::string toString(const Json::Value& jValue);

}  // namespace Orva
