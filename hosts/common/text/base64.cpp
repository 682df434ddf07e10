#include "base64.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Host {

namespace {

constexpr std::string_view LETTERS = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

}  // namespace

std::string toBase64(const std::string& strBytes) {
  std::string strText;
  for (std::size_t i = 0; i < strBytes.size(); i += 3) {
    const std::size_t cb = std::min<std::size_t>(3, strBytes.size() - i);
    std::uint32_t uGroup = 0;
    for (std::size_t j = 0; j < 3; ++j) {
      uGroup = (uGroup << 8) | (j < cb ? static_cast<unsigned char>(strBytes[i + j]) : 0U);
    }
    for (std::size_t j = 0; j < 4; ++j) {
      strText += j <= cb ? LETTERS[(uGroup >> (18 - 6 * j)) & 0x3F] : '=';
    }
  }
  return strText;
}

std::optional<std::string> fromBase64(const std::string& strText) {
  const std::size_t cLetters = strText.find_last_not_of('=') + 1;
  if (strText.size() % 4 != 0 || strText.size() - cLetters > 2) {
    return std::nullopt;
  }
  std::string strBytes;
  std::uint32_t uBits = 0;
  unsigned cBits = 0;
  for (std::size_t i = 0; i < cLetters; ++i) {
    const std::size_t iLetter = LETTERS.find(strText[i]);
    if (iLetter == std::string_view::npos) {
      return std::nullopt;
    }
    uBits = (uBits << 6) | static_cast<std::uint32_t>(iLetter);
    cBits += 6;
    if (cBits >= 8) {
      cBits -= 8;
      strBytes += static_cast<char>((uBits >> cBits) & 0xFF);
    }
  }
  return strBytes;
}

}  // namespace Host
