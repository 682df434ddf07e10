/// \file terminal_text.h
/// Texts of users for a terminal: scripts, output, names.

#pragma once

#include <string>
#include <string_view>

namespace Host {

/// Shows control characters, escape sequences, characters that change the direction of writing, and invalid bytes in a
/// visible form. Line ends and tabs stay.
class TerminalText {
public:
  /// Gives the bytes in visible form; an incomplete character waits for the next bytes.
  std::string take(std::string_view strBytes);

  /// Gives the rest when no more bytes come.
  std::string finish();

private:
  std::string m_strWaiting;
};

/// Gives a text in visible form. Line ends and tabs stay.
std::string shown(std::string_view strText);

/// Gives a message in visible form. Lines after the first are indented: a line break in a name does not begin a message
/// of its own.
std::string asMessage(std::string_view strText);

/// Gives a text for a descriptor: in visible form for a terminal, else unchanged.
std::string shownOn(int fd, const std::string& strText);

/// Gives a text in visible form in one line: line ends and tabs, too.
std::string onOneLine(std::string_view strText);

}  // namespace Host
