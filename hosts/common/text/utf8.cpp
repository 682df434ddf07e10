#include "utf8.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

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
                           (code >= 0x2066 && code <= 0x206F);
  const bool blLineEnd = code == 0x2028 || code == 0x2029;
  const bool blTag = code >= 0xE0000 && code <= 0xE007F;
  return code < 0x20 || (code >= 0x7F && code < 0xA0) || blDirection || blLineEnd || blTag;
}

bool isInvisible(char32_t code) {
  constexpr std::array<std::pair<char32_t, char32_t>, 13> FORMATS = {{{0xAD, 0xAD},
                                                                      {0x600, 0x605},
                                                                      {0x6DD, 0x6DD},
                                                                      {0x70F, 0x70F},
                                                                      {0x8E2, 0x8E2},
                                                                      {0x180B, 0x180F},
                                                                      {0x200B, 0x200D},
                                                                      {0x2060, 0x2065},
                                                                      {0xFE00, 0xFE0F},
                                                                      {0xFEFF, 0xFEFF},
                                                                      {0xFFF0, 0xFFFB},
                                                                      {0x1D173, 0x1D17A},
                                                                      {0xE0080, 0xE0FFF}}};
  return isControl(code) || std::any_of(FORMATS.begin(), FORMATS.end(),
                                        [&](const auto& range) { return code >= range.first && code <= range.second; });
}

}  // namespace Host
