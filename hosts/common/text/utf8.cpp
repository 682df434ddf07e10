#include "utf8.h"

#include <cstddef>

namespace Host {

std::optional<char32_t> takeCodePoint(std::string_view& strText) {
  const auto first = static_cast<unsigned char>(strText.front());
  const std::size_t cb = first < 0x80   ? 1
                         : first < 0xC2 ? 0
                         : first < 0xE0 ? 2
                         : first < 0xF0 ? 3
                         : first < 0xF5 ? 4
                                        : 0;
  if (cb == 0 || strText.size() < cb) {
    return std::nullopt;
  }
  char32_t code = cb == 1 ? first : static_cast<char32_t>(first & (0x7F >> cb));
  for (std::size_t i = 1; i < cb; ++i) {
    const auto next = static_cast<unsigned char>(strText[i]);
    if ((next & 0xC0) != 0x80) {
      return std::nullopt;
    }
    code = (code << 6) | (next & 0x3F);
  }
  const bool blOverlong = (cb == 3 && code < 0x800) || (cb == 4 && code < 0x10000);
  if (blOverlong || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
    return std::nullopt;
  }
  strText.remove_prefix(cb);
  return code;
}

bool isControl(char32_t code) {
  const bool blDirection = code == 0x61C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
                           (code >= 0x2066 && code <= 0x2069);
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || blDirection;
}

}  // namespace Host
