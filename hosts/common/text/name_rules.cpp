#include "name_rules.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fmt/format.h>
#include <optional>

#include "utf8.h"

namespace Host {

namespace {

constexpr std::size_t MAX_NAME = 64;
constexpr std::size_t MAX_EVENT = 255;
constexpr std::size_t MAX_DESCRIPTION = 1000;

bool isAsciiAlnum(char32_t code) {
  return (code >= '0' && code <= '9') || (code >= 'A' && code <= 'Z') || (code >= 'a' && code <= 'z');
}

/// Letters beyond ASCII, independent of the locale. The ranges have every script in use, without punctuation, spaces,
/// controls, private use and invisible characters.
bool isWideLetter(char32_t code) {
  // Blank and control characters in these ranges.
  constexpr std::array<char32_t, 12> UNSEEN = {0x61C,  0x115F, 0x1160, 0x1680, 0x17B4, 0x17B5,
                                               0x180B, 0x180C, 0x180D, 0x180E, 0x180F, 0x3164};
  if (std::find(UNSEEN.begin(), UNSEEN.end(), code) != UNSEEN.end()) {
    return false;
  }
  return (code >= 0xC0 && code <= 0x2AF && code != 0xD7 && code != 0xF7) || (code >= 0x370 && code <= 0x1FFF) ||
         (code >= 0x2C00 && code <= 0x2DFF) || (code >= 0x3041 && code <= 0xD7FF) ||
         (code >= 0xF900 && code <= 0xFAFF) || (code >= 0x20000 && code <= 0x3FFFF);
}

std::string quoteCodePoint(char32_t code) {
  return code > 0x20 && code < 0x7F ? fmt::format("'{}'", static_cast<char>(code))
                                    : fmt::format("the character U+{:04X}", static_cast<unsigned>(code));
}

std::string whyNotName(std::string_view strName) {
  if (strName.empty()) {
    return "is empty";
  }
  if (strName.size() > MAX_NAME) {
    return fmt::format("is {} bytes long; at most {} are allowed", strName.size(), MAX_NAME);
  }
  if (strName.back() == ' ') {
    return "ends with a space";
  }
  bool blFirst = true;
  for (std::string_view strRest = strName; !strRest.empty(); blFirst = false) {
    const std::optional<char32_t> code = takeCodePoint(strRest);
    if (!code) {
      return "is not valid UTF-8";
    }
    const bool blLetter = isAsciiAlnum(*code) || isWideLetter(*code);
    if (blFirst && !blLetter) {
      return fmt::format("must begin with a letter or a digit, not with {}", quoteCodePoint(*code));
    }
    if (!blLetter && *code != '.' && *code != '_' && *code != '-' && *code != ' ') {
      return fmt::format("must not contain {}: letters, digits, '.', '_' and '-' are allowed", quoteCodePoint(*code));
    }
  }
  return {};
}

}  // namespace

std::string whyNotTaskName(std::string_view strName) {
  return whyNotName(strName);
}

std::string whyNotNewTaskName(std::string_view strName) {
  std::string strWhy = whyNotName(strName);
  return strWhy.empty() && strName.find(' ') != std::string_view::npos
             ? "must not contain spaces: letters, digits, '.', '_' and '-' are allowed"
             : strWhy;
}

std::string whyNotEventName(std::string_view strName) {
  if (strName.empty()) {
    return "is empty";
  }
  if (strName.size() > MAX_EVENT) {
    return fmt::format("is {} bytes long; at most {} are allowed", strName.size(), MAX_EVENT);
  }
  // Run records have this word for a manual start.
  if (strName == "on_demand") {
    return "must not be \"on_demand\", which means a manual start";
  }
  for (std::string_view strRest = strName; !strRest.empty();) {
    const std::optional<char32_t> code = takeCodePoint(strRest);
    if (!code) {
      return "is not valid UTF-8";
    }
    if (isInvisible(*code)) {
      return fmt::format("contains the control or format character U+{:04X}", static_cast<unsigned>(*code));
    }
  }
  return {};
}

std::string whyNotDescription(std::string_view strDescription) {
  if (strDescription.size() > MAX_DESCRIPTION) {
    return fmt::format("is {} bytes long; at most {} are allowed", strDescription.size(), MAX_DESCRIPTION);
  }
  const bool blControl = std::any_of(strDescription.begin(), strDescription.end(),
                                     [](char c) { return static_cast<unsigned char>(c) < 0x20 || c == 0x7F; });
  return blControl ? "must be one line without control characters" : "";
}

std::string whyNotOutputPath(std::string_view strPath) {
  for (std::size_t iStart = 0; iStart <= strPath.size();) {
    const std::size_t iEnd = std::min(strPath.find('/', iStart), strPath.size());
    const std::string_view strPart = strPath.substr(iStart, iEnd - iStart);
    if (const std::string strWhy = whyNotName(strPart); !strWhy.empty()) {
      return fmt::format("\"{}\" {}", strPart, strWhy);
    }
    iStart = iEnd + 1;
  }
  return {};
}

}  // namespace Host
