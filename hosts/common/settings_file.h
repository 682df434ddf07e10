/// \file settings_file.h
/// The text of a file of lines KEY=VALUE, changed without losing what else is in it.

#pragma once

#include <string>

namespace Host {

/// Gives the text with a setting changed. Its last line is replaced, since that one holds; without one, the new line
/// stands below the comment that tells the default, or else at the end.
std::string withSetting(const std::string& strText, const std::string& strKey, const std::string& strValue);

}  // namespace Host
