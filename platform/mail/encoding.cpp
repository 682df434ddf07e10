#include "mail/encoding.h"

#include <algorithm>

#include "settings/text_line.h"
#include "texts/utf8.h"

namespace orva {
namespace {

constexpr std::size_t CB_LINE_MAX = 76;
constexpr std::size_t CB_PLAIN_HEADER_MAX = 60;
// A line with encoded words has at most 76 characters: 39 bytes make 52, "=?UTF-8?B?" and "?=" 12, "Subject: " 9.
constexpr std::size_t CB_WORD_MAX = 39;

// Characters that quoted-printable does not encode. Blanks are not encoded either, except at the end of a line.
bool isLiteral(char ch) {
  return (ch > 0x20 && ch < 0x7F && ch != '=') || ch == ' ' || ch == '\t';
}

std::string hexByte(char ch) {
  constexpr char DIGITS[] = "0123456789ABCDEF";
  const auto uByte = static_cast<unsigned char>(ch);
  return {'=', DIGITS[uByte >> 4], DIGITS[uByte & 0xF]};
}

// Encodes one character of a line. Some characters have a special meaning at the start of a line.
std::string quotedPiece(std::string_view strLine, std::size_t uIndex, bool blAtStart) {
  const char ch = strLine[uIndex];
  const bool blLast = uIndex + 1 == strLine.size();
  const bool blSignal = blAtStart && (ch == '.' || strLine.substr(uIndex).starts_with("From "));
  const bool blHidden = !isLiteral(ch) || (blLast && (ch == ' ' || ch == '\t')) || blSignal;
  return blHidden ? hexByte(ch) : std::string(1, ch);
}

void appendQuotedLine(std::string_view strLine, std::string& strResult) {
  std::size_t cbLine = 0;
  for (std::size_t i = 0; i < strLine.size(); ++i) {
    std::string strPiece = quotedPiece(strLine, i, cbLine == 0);
    // A soft line break takes one character, except after the line's last piece.
    const std::size_t cbSoft = i + 1 == strLine.size() ? 0 : 1;
    if (cbLine + strPiece.size() + cbSoft > CB_LINE_MAX) {
      strResult += "=\n";
      cbLine = 0;
      strPiece = quotedPiece(strLine, i, true);
    }
    strResult += strPiece;
    cbLine += strPiece.size();
  }
}

}  // namespace

std::string base64(std::string_view strBytes) {
  constexpr char DIGITS[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string strResult;
  strResult.reserve((strBytes.size() + 2) / 3 * 4);
  for (std::size_t i = 0; i < strBytes.size(); i += 3) {
    const auto byteAt = [&](std::size_t u) -> unsigned {
      return u < strBytes.size() ? static_cast<unsigned char>(strBytes[u]) : 0U;
    };
    const unsigned uGroup = byteAt(i) << 16 | byteAt(i + 1) << 8 | byteAt(i + 2);
    strResult += DIGITS[uGroup >> 18];
    strResult += DIGITS[uGroup >> 12 & 0x3F];
    strResult += i + 1 < strBytes.size() ? DIGITS[uGroup >> 6 & 0x3F] : '=';
    strResult += i + 2 < strBytes.size() ? DIGITS[uGroup & 0x3F] : '=';
  }
  return strResult;
}

std::string base64Lines(std::string_view strBytes) {
  constexpr std::size_t CB_BYTES = CB_LINE_MAX / 4 * 3;
  std::string strResult;
  for (std::size_t i = 0; i < strBytes.size(); i += CB_BYTES) {
    strResult += base64(strBytes.substr(i, CB_BYTES)) + "\n";
  }
  return strResult;
}

std::string quotedPrintable(std::string_view strText) {
  std::string strResult;
  while (!strText.empty()) {
    const std::size_t uEnd = strText.find('\n');
    appendQuotedLine(strText.substr(0, uEnd), strResult);
    strResult += '\n';
    strText.remove_prefix(uEnd == std::string_view::npos ? strText.size() : uEnd + 1);
  }
  return strResult;
}

bool wantsBase64(std::string_view strText) {
  const auto cLiteral =
      std::count_if(strText.begin(), strText.end(), [](char ch) { return isLiteral(ch) || ch == '\n'; });
  return strText.size() - static_cast<std::size_t>(cLiteral) > strText.size() / 6;
}

std::string encodedHeader(std::string_view strText) {
  std::string strPlain = inOneLine(strText);
  const bool blAscii = std::all_of(strPlain.begin(), strPlain.end(), [](char ch) { return ch >= 0x20 && ch < 0x7F; });
  if (blAscii && strPlain.size() <= CB_PLAIN_HEADER_MAX && strPlain.find("=?") == std::string::npos) {
    return strPlain;
  }
  std::string strResult;
  for (std::string_view strRest = strPlain; !strRest.empty();) {
    const std::string_view strWord = utf8Prefix(strRest, CB_WORD_MAX);
    strResult += (strResult.empty() ? "=?UTF-8?B?" : "\n =?UTF-8?B?") + base64(strWord) + "?=";
    strRest.remove_prefix(strWord.size());
  }
  return strResult;
}

}  // namespace orva
