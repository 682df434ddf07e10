/// \file settings_file.h
/// The text of a file of lines KEY=VALUE, changed without losing what else is in it.

#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Host {

/// A line that is neither empty nor a comment.
struct SettingLine {
  std::size_t iLine = 0;  ///< counted from 1
  std::string strText;
  std::string strKey;  ///< empty when it is no KEY=VALUE
};

/// Gives the lines that are meant to set something.
std::vector<SettingLine> settingLines(const std::string& strText);

/// Gives the text with a setting changed. Its last line is replaced, since that one holds; without one, the new line
/// stands below the comment that tells the default, or else at the end.
std::string withSetting(const std::string& strText, const std::string& strKey, const std::string& strValue);

}  // namespace Host
