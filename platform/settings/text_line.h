/// \file text_line.h
/// Helpers for the platform's line formats.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orva {

/// Tells whether a byte is an ASCII control character.
bool isControl(char ch);

/// Tells whether a path has no quotes and no other characters that are special to a shell. Blanks are allowed.
bool isPlainForShell(std::string_view strPath);

/// Replaces control characters by blanks, so that a text stays in one line.
std::string inOneLine(std::string_view strText);

/// Removes blanks and carriage returns from both ends.
std::string_view trimmed(std::string_view strText);

/// Removes the next line from a text, and returns it without its line end.
std::string_view takeLine(std::string_view& strText);

/// A line `KEY = VALUE`, split at its first "=", both sides trimmed; nothing without a key or "=".
struct KeyValue {
  std::string_view strKey;
  std::string_view strValue;
};
std::optional<KeyValue> cutKeyValue(std::string_view strLine);

/// Tells whether a line is empty or a comment.
bool isBlankOrComment(std::string_view strLine);

/// Removes a pair of single or double quotes around a text.
std::string_view withoutQuotes(std::string_view strText);

}  // namespace orva
