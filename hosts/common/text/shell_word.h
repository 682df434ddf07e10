/// \file shell_word.h
/// Names in command lines that are shown to be typed.

#pragma once

#include <algorithm>
#include <string>

namespace Host {

inline bool isControlByte(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// Gives a word that cannot be shown as it is, in the quotes in which bash reads escapes.
inline std::string controlWord(const std::string& strWord) {
  static constexpr char DIGITS[] = "01234567";
  std::string strQuoted = "$'";
  for (const char c : strWord) {
    if (isControlByte(c)) {
      // Three digits always, so that one that follows in the word is not taken in.
      const unsigned u = static_cast<unsigned char>(c);
      strQuoted += std::string("\\") + DIGITS[u >> 6] + DIGITS[(u >> 3) & 7U] + DIGITS[u & 7U];
    } else {
      strQuoted += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
  }
  return strQuoted + "'";
}

/// Gives a word as a shell has to be given it: as it is where that means the same, else in quotes.
inline std::string shellWord(const std::string& strWord) {
  const bool blPlain = !strWord.empty() && strWord.front() != '-' &&
                       strWord.find_first_of(" \t\n'\"\\$`|&;<>()*?[]{}~#!^%=,") == std::string::npos;
  const bool blControl = std::any_of(strWord.begin(), strWord.end(), isControlByte);
  if (blPlain && !blControl) {
    return strWord;
  }
  if (blControl) {
    return controlWord(strWord);
  }
  std::string strQuoted = "'";
  for (const char c : strWord) {
    strQuoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  }
  return strQuoted + "'";
}

}  // namespace Host
