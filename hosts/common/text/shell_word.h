/// \file shell_word.h
/// Words in command lines for users to type.

#pragma once

#include <algorithm>
#include <string>

namespace Host {

inline bool isControlByte(char c) {
  return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
}

/// Quotes a word with $'...', in which bash reads escapes.
inline std::string controlWord(const std::string& strWord) {
  static constexpr char DIGITS[] = "01234567";
  std::string strQuoted = "$'";
  for (const char c : strWord) {
    if (isControlByte(c)) {
      // Always three digits, so that a digit after it is not read as a part of it.
      const unsigned u = static_cast<unsigned char>(c);
      strQuoted += std::string("\\") + DIGITS[u >> 6] + DIGITS[(u >> 3) & 7U] + DIGITS[u & 7U];
    } else {
      strQuoted += c == '\'' || c == '\\' ? std::string("\\") + c : std::string(1, c);
    }
  }
  return strQuoted + "'";
}

/// Quotes a word for a shell, if necessary.
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
