#include "settings_file.h"

#include <algorithm>
#include <cstddef>
#include <sstream>
#include <string_view>
#include <vector>

namespace Host {

namespace {

constexpr std::string_view BLANKS = " \t\r";

std::vector<std::string> linesOf(const std::string& strText) {
  std::vector<std::string> vecLines;
  std::istringstream in(strText);
  for (std::string strLine; std::getline(in, strLine);) {
    vecLines.push_back(strLine);
  }
  return vecLines;
}

std::string_view trimmed(std::string_view strText) {
  strText.remove_prefix(std::min(strText.find_first_not_of(BLANKS), strText.size()));
  return strText.substr(0, strText.find_last_not_of(BLANKS) + 1);
}

/// The key of a line, or of a line in a comment.
std::string_view keyOf(std::string_view strLine, bool blComment) {
  const auto skip = [&](std::string_view strChars) {
    strLine.remove_prefix(std::min(strLine.find_first_not_of(strChars), strLine.size()));
  };
  skip(BLANKS);
  if (blComment != strLine.starts_with('#')) {
    return {};
  }
  skip(blComment ? "# \t" : BLANKS);
  const std::size_t iEqual = strLine.find('=');
  if (iEqual == std::string_view::npos) {
    return {};
  }
  return trimmed(strLine.substr(0, iEqual));
}

/// The value of a line that has a key.
std::string_view valueOf(std::string_view strLine) {
  const std::string_view strValue = trimmed(strLine.substr(strLine.find('=') + 1));
  const bool blQuoted = strValue.size() > 1 && strValue.front() == strValue.back() &&
                        (strValue.front() == '"' || strValue.front() == '\'');
  return blQuoted ? strValue.substr(1, strValue.size() - 2) : strValue;
}

}  // namespace

std::vector<SettingLine> settingLines(const std::string& strText) {
  std::vector<SettingLine> vecSettings;
  const std::vector<std::string> vecLines = linesOf(strText);
  for (std::size_t i = 0; i < vecLines.size(); ++i) {
    const std::string_view strLine = trimmed(vecLines[i]);
    if (!strLine.empty() && strLine.front() != '#' && strLine.front() != ';') {
      const std::string strKey(keyOf(strLine, false));
      vecSettings.push_back({i + 1, std::string(strLine), strKey, std::string(strKey.empty() ? "" : valueOf(strLine))});
    }
  }
  return vecSettings;
}

std::map<std::string, std::string> settingValues(const std::string& strText) {
  std::map<std::string, std::string> mapValues;
  for (SettingLine& line : settingLines(strText)) {
    if (!line.strKey.empty()) {
      mapValues[std::move(line.strKey)] = std::move(line.strValue);
    }
  }
  return mapValues;
}

std::string withSetting(const std::string& strText, const std::string& strKey, const std::string& strValue) {
  std::vector<std::string> vecLines = linesOf(strText);
  const std::string strNew = strKey + "=" + strValue;
  std::size_t iLine = vecLines.size();
  std::size_t iComment = vecLines.size();
  for (std::size_t i = 0; i < vecLines.size(); ++i) {
    iLine = keyOf(vecLines[i], false) == strKey ? i : iLine;
    iComment = keyOf(vecLines[i], true) == strKey ? i : iComment;
  }
  if (iLine < vecLines.size()) {
    vecLines[iLine] = strNew;
  } else {
    const std::size_t iNew = iComment < vecLines.size() ? iComment + 1 : vecLines.size();
    vecLines.insert(vecLines.begin() + static_cast<std::ptrdiff_t>(iNew), strNew);
  }
  std::string strResult;
  for (const std::string& strLine : vecLines) {
    strResult += strLine + "\n";
  }
  return strResult;
}

}  // namespace Host
