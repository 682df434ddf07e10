#include "display_width.h"

#include <algorithm>
#include <clocale>
#include <cwchar>
#include <optional>

#include "utf8.h"

namespace Host {

namespace {

/// The width must not depend on the locale of the user.
class Utf8Locale {
public:
  Utf8Locale() : m_before(uselocale(utf8())) {}
  ~Utf8Locale() { uselocale(m_before); }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;

private:
  static locale_t utf8() {
    // Null when the locale is missing; then the present one is kept.
    static const locale_t s_locale = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return s_locale;
  }

  locale_t m_before;
};

/// Removes a character from the front. \return its width.
std::size_t takeWidth(std::string_view& strText) {
  const std::optional<char32_t> code = takeCodePoint(strText);
  if (!code) {
    strText.remove_prefix(1);
    return 1;
  }
  return static_cast<std::size_t>(std::max(wcwidth(static_cast<wchar_t>(*code)), 0));
}

/// The longest beginning of a text that fits into these columns.
std::string_view beginningOf(std::string_view strText, std::size_t cColumns) {
  std::string_view strRest = strText;
  std::size_t cbFits = 0;
  for (std::size_t cUsed = 0; !strRest.empty(); cbFits = strText.size() - strRest.size()) {
    cUsed += takeWidth(strRest);
    if (cUsed > cColumns) {
      break;
    }
  }
  return strText.substr(0, cbFits);
}

}  // namespace

std::size_t displayWidth(std::string_view strText) {
  const Utf8Locale locale;
  std::size_t cColumns = 0;
  while (!strText.empty()) {
    cColumns += takeWidth(strText);
  }
  return cColumns;
}

std::string cutToWidth(std::string_view strText, std::size_t cColumns) {
  if (displayWidth(strText) <= cColumns) {
    return std::string(strText);
  }
  const Utf8Locale locale;
  return cColumns == 0 ? "" : std::string(beginningOf(strText, cColumns - 1)) + "~";
}

}  // namespace Host
