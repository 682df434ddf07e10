/// \file text_line.h
/// The small pieces of which the platform's line formats are made.

#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orva {

/// Tells whether a byte is a control character of ASCII: nothing of a single line of text.
bool isControl(char ch);

/// Tells whether a path stays one word, or several, of plain text when it becomes part of a command: no quote, no sign
/// that a shell acts on. Blanks are no obstacle.
bool isPlainForShell(std::string_view strPath);

/// Replaces control characters by blanks, so that a text stays in its line.
std::string inOneLine(std::string_view strText);

/// Takes blanks, and the carriage return of a file from elsewhere, off both ends.
std::string_view trimmed(std::string_view strText);

/// Takes the next line off a text, without its end.
std::string_view takeLine(std::string_view& strText);

/// A line `KEY = VALUE`, cut at its first "=", both sides trimmed; nothing when there is no key or no "=".
struct KeyValue {
  std::string_view strKey;
  std::string_view strValue;
};
std::optional<KeyValue> cutKeyValue(std::string_view strLine);

/// Tells whether a line says nothing: empty, or a comment.
bool isBlankOrComment(std::string_view strLine);

/// Takes a pair of quotes of one kind, single or double, off a text.
std::string_view withoutQuotes(std::string_view strText);

}  // namespace orva
