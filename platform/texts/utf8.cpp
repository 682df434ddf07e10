#include "texts/utf8.h"

namespace orva {
namespace {

constexpr std::string_view REPLACEMENT = "\xEF\xBF\xBD";

unsigned byteAt(std::string_view strText, std::size_t uIndex) {
  return static_cast<unsigned char>(strText[uIndex]);
}

// The bytes that may follow a first byte. For some first bytes, the second byte has narrower limits.
struct Form {
  std::size_t cb;
  unsigned uSecondMin;
  unsigned uSecondMax;
};

Form formOf(unsigned uFirst) {
  if (uFirst < 0x80) {
    return {1, 0, 0};
  }
  if (uFirst >= 0xC2 && uFirst <= 0xDF) {
    return {2, 0x80, 0xBF};
  }
  if (uFirst >= 0xE0 && uFirst <= 0xEF) {
    return {3, uFirst == 0xE0 ? 0xA0U : 0x80U, uFirst == 0xED ? 0x9FU : 0xBFU};
  }
  if (uFirst >= 0xF0 && uFirst <= 0xF4) {
    return {4, uFirst == 0xF0 ? 0x90U : 0x80U, uFirst == 0xF4 ? 0x8FU : 0xBFU};
  }
  return {0, 0, 0};
}

}  // namespace

std::size_t utf8Length(std::string_view strText) {
  if (strText.empty()) {
    return 0;
  }
  const Form form = formOf(byteAt(strText, 0));
  if (form.cb > strText.size()) {
    return 0;
  }
  if (form.cb > 1 && (byteAt(strText, 1) < form.uSecondMin || byteAt(strText, 1) > form.uSecondMax)) {
    return 0;
  }
  for (std::size_t i = 2; i < form.cb; ++i) {
    if ((byteAt(strText, i) & 0xC0) != 0x80) {
      return 0;
    }
  }
  return form.cb;
}

bool isUtf8(std::string_view strText) {
  while (!strText.empty()) {
    const std::size_t cb = utf8Length(strText);
    if (cb == 0) {
      return false;
    }
    strText.remove_prefix(cb);
  }
  return true;
}

std::string repairedUtf8(std::string_view strText) {
  std::string strResult;
  strResult.reserve(strText.size());
  while (!strText.empty()) {
    const std::size_t cb = utf8Length(strText);
    strResult.append(cb == 0 ? REPLACEMENT : strText.substr(0, cb));
    strText.remove_prefix(cb == 0 ? 1 : cb);
  }
  return strResult;
}

std::string_view utf8Prefix(std::string_view strText, std::size_t cbMax) {
  if (strText.size() <= cbMax) {
    return strText;
  }
  std::size_t cb = cbMax;
  while (cb > 0 && (byteAt(strText, cb) & 0xC0) == 0x80) {
    --cb;
  }
  return strText.substr(0, cb);
}

}  // namespace orva
