/// \file settings_file.h
/// The text of a file of lines KEY=VALUE, changed without losing what else is in it.
///
/// Blanks around key and value do not count; neither do empty lines and lines that begin with "#" or ";". One pair of
/// quotes around the whole value, single or double, is taken off. When a key is there twice, the last line wins.

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
  std::string strKey;  ///< empty when it is no KEY=VALUE
  std::string strValue;
};

/// Gives the lines that are meant to set something.
std::vector<SettingLine> settingLines(const std::string& strText);

/// Gives the values that are set, by key.
std::map<std::string, std::string> settingValues(const std::string& strText);

/// Gives the text with a setting changed. Its last line is replaced, since that one holds; without one, the new line
/// stands below the comment that tells the default, or else at the end.
std::string withSetting(const std::string& strText, const std::string& strKey, const std::string& strValue);

}  // namespace Host
