/// \file shell_word.h
/// Names in command lines that are shown to be typed.

#pragma once

#include <string>

namespace Host {

/// Gives a word as a shell has to be given it: as it is where that means the same, else in quotes.
inline std::string shellWord(const std::string& strWord) {
  const bool blPlain = !strWord.empty() && strWord.front() != '-' &&
                       strWord.find_first_of(" \t\n'\"\\$`|&;<>()*?[]{}~#!^%=,") == std::string::npos;
  if (blPlain) {
    return strWord;
  }
  std::string strQuoted = "'";
  for (const char c : strWord) {
    strQuoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return strQuoted + "'";
}

}  // namespace Host
