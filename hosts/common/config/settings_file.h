/// \file settings_file.h
/// A file of lines KEY=VALUE. A change keeps everything else in it.
///
/// Blanks around key and value are ignored, and so are empty lines and lines that begin with "#" or ";". A value can be
/// in quotes, single or double. When a key occurs twice, the last line wins.

#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

namespace Host {

/// A line that is neither empty nor a comment.
struct SettingLine {
  std::size_t iLine = 0;  ///< counted from 1
  std::string strText;
  std::string strKey;  ///< empty when the line is not KEY=VALUE
  std::string strValue;
};

/// Gives the lines that are not empty and no comments.
std::vector<SettingLine> settingLines(const std::string& strText);

/// Gives the values that are set, by key.
std::map<std::string, std::string> settingValues(const std::string& strText);

/// Gives the text with a setting changed: the last line of the key is replaced. Without one, the new line follows the
/// comment with the default, or is added at the end.
std::string withSetting(const std::string& strText, const std::string& strKey, const std::string& strValue);

}  // namespace Host
