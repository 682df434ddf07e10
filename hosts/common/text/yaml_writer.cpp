#include "yaml_writer.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <optional>
#include <string_view>

#include "utf8.h"

namespace Host {

namespace {

bool isLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

/// Words that some readers do not read as text.
bool isReserved(const std::string& strText) {
  constexpr std::array<std::string_view, 13> WORDS = {"true", "false", "yes",  "no",  "on",  "off", "null",
                                                      "y",    "n",     ".inf", "nan", "inf", "~"};
  std::string strLower = strText;
  std::transform(strLower.begin(), strLower.end(), strLower.begin(),
                 [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + ('a' - 'A')) : c; });
  return std::find(WORDS.begin(), WORDS.end(), strLower) != WORDS.end();
}

/// Begins with a letter and has no special characters: such a text needs no quotes.
bool isPlain(const std::string& strText) {
  return !strText.empty() && isLetter(strText.front()) && strText.back() != ' ' && !isReserved(strText) &&
         std::all_of(strText.begin(), strText.end(), [](char c) {
           return isLetter(c) || (c >= '0' && c <= '9') ||
                  std::string_view("_-./@,+ ").find(c) != std::string_view::npos ||
                  static_cast<unsigned char>(c) >= 0x80;
         });
}

/// Line ends and invisible characters.
bool needsEscape(char32_t code) {
  return isControl(code) || code == 0x2028 || code == 0x2029 || code == 0xFEFF || (code & 0xFFFE) == 0xFFFE;
}

/// Calls a function for each code point and its bytes.
template <typename Function>
void eachCodePoint(std::string_view strText, Function fnDo) {
  while (!strText.empty()) {
    const std::string_view strBefore = strText;
    const std::optional<char32_t> code = takeCodePoint(strText);
    if (!code) {
      return;
    }
    fnDo(*code, strBefore.substr(0, strBefore.size() - strText.size()));
  }
}

bool hasEscapes(const std::string& strText, std::string_view strAllowed) {
  bool blFound = false;
  eachCodePoint(strText, [&](char32_t code, std::string_view strBytes) {
    blFound = blFound || (needsEscape(code) && strAllowed.find(strBytes) == std::string_view::npos);
  });
  return blFound;
}

std::string escapeOf(char32_t code) {
  switch (code) {
    case '\n':
      return "\\n";
    case '\t':
      return "\\t";
    case '\r':
      return "\\r";
    default:
      return code > 0xFFFF ? fmt::format("\\U{:08x}", static_cast<unsigned>(code))
                           : fmt::format("\\u{:04x}", static_cast<unsigned>(code));
  }
}

std::string inQuotes(const std::string& strText) {
  std::string strQuoted = "\"";
  eachCodePoint(strText, [&](char32_t code, std::string_view strBytes) {
    if (code == '"' || code == '\\') {
      strQuoted += '\\';
    }
    strQuoted += needsEscape(code) ? escapeOf(code) : std::string(strBytes);
  });
  return strQuoted + '"';
}

/// "|", with the indentation and the line ends that the lines do not show.
std::string blockHeader(const std::string& strText) {
  std::string strHeader = "|";
  if (strText.front() == ' ' || strText.front() == '\n' || strText.front() == '\t') {
    strHeader += '2';
  }
  if (strText.back() != '\n') {
    strHeader += '-';
  } else if (strText.ends_with("\n\n")) {
    strHeader += '+';
  }
  return strHeader + "\n";
}

}  // namespace

bool isUtf8(const std::string& strText) {
  for (std::string_view strRest = strText; !strRest.empty();) {
    if (!takeCodePoint(strRest)) {
      return false;
    }
  }
  return true;
}

std::string yamlScalar(const std::string& strText) {
  return isPlain(strText) && !hasEscapes(strText, "") ? strText : inQuotes(strText);
}

std::string yamlBlock(const std::string& strText, std::size_t cIndent) {
  const bool blLines = strText.find_first_not_of("\n \t") != std::string::npos && !hasEscapes(strText, "\n\t");
  if (!blLines) {
    return inQuotes(strText) + "\n";
  }
  std::string strBlock = blockHeader(strText);
  std::string_view strRest = strText;
  while (!strRest.empty()) {
    const std::size_t cb = std::min(strRest.find('\n'), strRest.size());
    if (cb > 0) {
      strBlock.append(cIndent, ' ').append(strRest.substr(0, cb));
    }
    strBlock += '\n';
    strRest.remove_prefix(std::min(cb + 1, strRest.size()));
  }
  return strBlock;
}

}  // namespace Host
