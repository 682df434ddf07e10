/// \file terminal_text.h
/// What others have written, made harmless for a terminal: users' scripts, what they print, names.

#pragma once

#include <string>
#include <string_view>

namespace Host {

/// Makes visible what a terminal would obey: escape sequences, other control characters, characters that turn the
/// direction of writing, bytes that are no text. Line ends and tabs stay.
class TerminalText {
public:
  /// Gives what can be shown of the bytes so far; a character that is not whole yet waits for the next ones.
  std::string take(std::string_view strBytes);

  /// Gives what has been waiting, when no more bytes come.
  std::string finish();

private:
  std::string m_strWaiting;
};

/// Gives a text as a descriptor may get it: made harmless for a terminal, as it is for anything else.
std::string shownOn(int fd, const std::string& strText);

/// Makes a text visible as a whole, in one line: line ends and tabs, too.
std::string onOneLine(std::string_view strText);

}  // namespace Host
