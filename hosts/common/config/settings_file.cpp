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

/// The key of a line; of a comment, the key that stands in it.
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
  const std::string_view strKey = strLine.substr(0, iEqual);
  const std::size_t iEnd = strKey.find_last_not_of(BLANKS);
  return strKey.substr(0, iEnd == std::string_view::npos ? 0 : iEnd + 1);
}

}  // namespace

std::vector<SettingLine> settingLines(const std::string& strText) {
  std::vector<SettingLine> vecSettings;
  const std::vector<std::string> vecLines = linesOf(strText);
  for (std::size_t i = 0; i < vecLines.size(); ++i) {
    const std::size_t iFirst = vecLines[i].find_first_not_of(BLANKS);
    if (iFirst != std::string::npos && vecLines[i][iFirst] != '#' && vecLines[i][iFirst] != ';') {
      vecSettings.push_back({i + 1, vecLines[i].substr(iFirst), std::string(keyOf(vecLines[i], false))});
    }
  }
  return vecSettings;
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
    const std::size_t iPlace = iComment < vecLines.size() ? iComment + 1 : vecLines.size();
    vecLines.insert(vecLines.begin() + static_cast<std::ptrdiff_t>(iPlace), strNew);
  }
  std::string strResult;
  for (const std::string& strLine : vecLines) {
    strResult += strLine + "\n";
  }
  return strResult;
}

}  // namespace Host
