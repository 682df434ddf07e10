#include "terminal_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <unistd.h>
#include <utility>

#include "utf8.h"

namespace Host {

namespace {

constexpr std::size_t CB_LONGEST_CHARACTER = 4;

std::string visible(char32_t code) {
  if (code < 0x20 || code == 0x7F) {
    return fmt::format("^{}", static_cast<char>(code ^ 0x40));
  }
  return fmt::format("<U+{:04X}>", static_cast<unsigned>(code));
}

/// Tells whether more bytes are needed to decide about this character.
bool isCutShort(std::string_view strText) {
  return strText == "\r" || (strText.size() < CB_LONGEST_CHARACTER && static_cast<unsigned char>(strText[0]) >= 0xC2);
}

/// Removes one character from the front and adds it in visible form.
void showOne(std::string_view& strText, std::string& strShown) {
  if (strText.starts_with("\r\n")) {
    strText.remove_prefix(1);
  }
  const std::string_view strBefore = strText;
  if (const std::optional<char32_t> code = takeCodePoint(strText)) {
    const bool blPlain = *code == '\n' || *code == '\t' || !isControl(*code);
    strShown += blPlain ? std::string(strBefore.substr(0, strBefore.size() - strText.size())) : visible(*code);
    return;
  }
  strShown += fmt::format("\\x{:02X}", static_cast<unsigned char>(strText.front()));
  strText.remove_prefix(1);
}

bool isPlain(std::string_view strText) {
  return std::all_of(strText.begin(), strText.end(), [](char c) { return c >= ' ' && c < '\x7F'; });
}

}  // namespace

std::string shown(std::string_view strText) {
  if (isPlain(strText)) {
    return std::string(strText);
  }
  TerminalText text;
  const std::string strShown = text.take(strText);
  return strShown + text.finish();
}

std::string TerminalText::take(std::string_view strBytes) {
  const std::string strAll = std::exchange(m_strWaiting, {}).append(strBytes);
  std::string strShown;
  std::string_view strRest = strAll;
  while (!strRest.empty()) {
    std::string_view strTry = strRest;
    if (isCutShort(strRest) && (strRest == "\r" || !takeCodePoint(strTry))) {
      m_strWaiting = strRest;
      break;
    }
    showOne(strRest, strShown);
  }
  return strShown;
}

std::string TerminalText::finish() {
  const std::string strAll = std::exchange(m_strWaiting, {});
  std::string strShown;
  for (std::string_view strRest = strAll; !strRest.empty();) {
    showOne(strRest, strShown);
  }
  return strShown;
}

std::string shownOn(int fd, const std::string& strText) {
  if (isatty(fd) != 1) {
    return strText;
  }
  return shown(strText);
}

std::string asMessage(std::string_view strText) {
  std::string strMessage;
  for (const char c : shown(strText)) {
    if (!strMessage.empty() && strMessage.back() == '\n' && c != ' ' && c != '\n') {
      strMessage += "  ";
    }
    strMessage += c;
  }
  return strMessage;
}

std::string onOneLine(std::string_view strText) {
  if (isPlain(strText)) {
    return std::string(strText);
  }
  std::string strLine;
  for (const char c : shown(strText)) {
    strLine += c == '\n' || c == '\t' ? visible(static_cast<unsigned char>(c)) : std::string(1, c);
  }
  return strLine;
}

}  // namespace Host
