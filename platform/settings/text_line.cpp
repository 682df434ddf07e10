#include "settings/text_line.h"

#include <algorithm>

namespace orva {

bool isControl(char ch) {
  return static_cast<unsigned char>(ch) < 0x20 || ch == 0x7F;
}

bool isPlainForShell(std::string_view strPath) {
  constexpr std::string_view MARKS = "'\"`$\\;&|<>()*?[]{}!#~";
  return strPath.find_first_of(MARKS) == std::string_view::npos &&
         std::none_of(strPath.begin(), strPath.end(), isControl);
}

std::string inOneLine(std::string_view strText) {
  std::string strResult(strText);
  std::replace_if(strResult.begin(), strResult.end(), isControl, ' ');
  return strResult;
}

std::string_view trimmed(std::string_view strText) {
  constexpr std::string_view BLANKS = " \t\r\v\f";
  const std::size_t uFirst = strText.find_first_not_of(BLANKS);
  if (uFirst == std::string_view::npos) {
    return {};
  }
  return strText.substr(uFirst, strText.find_last_not_of(BLANKS) - uFirst + 1);
}

std::string_view takeLine(std::string_view& strText) {
  const std::size_t uEnd = strText.find('\n');
  const std::string_view strLine = strText.substr(0, uEnd);
  strText.remove_prefix(uEnd == std::string_view::npos ? strText.size() : uEnd + 1);
  return strLine;
}

std::optional<KeyValue> cutKeyValue(std::string_view strLine) {
  const std::size_t uEqual = strLine.find('=');
  if (uEqual == std::string_view::npos) {
    return std::nullopt;
  }
  const KeyValue pair{trimmed(strLine.substr(0, uEqual)), trimmed(strLine.substr(uEqual + 1))};
  return pair.strKey.empty() ? std::nullopt : std::optional(pair);
}

bool isBlankOrComment(std::string_view strLine) {
  const std::string_view strText = trimmed(strLine);
  return strText.empty() || strText.front() == '#' || strText.front() == ';';
}

std::string_view withoutQuotes(std::string_view strText) {
  const bool blQuoted =
      strText.size() >= 2 && (strText.front() == '"' || strText.front() == '\'') && strText.front() == strText.back();
  return blQuoted ? strText.substr(1, strText.size() - 2) : strText;
}

}  // namespace orva
