/// \file name_rules.h
/// Rules for names.

#pragma once

#include <string>
#include <string_view>

namespace Host {

/// Checks the name of a stored task.
///
/// Names become folders and parts of shell commands, so only harmless characters are allowed: 1 to 64 bytes of letters
/// (also UTF-8), digits, ".", "_", "-" and inner spaces, beginning with a letter or a digit.
/// \return what is wrong; empty when the name is valid.
std::string whyNotTaskName(std::string_view strName);

/// Checks the name of a new task: like a stored one, but without spaces. A space breaks the library's own display of
/// the output, and every shell line.
std::string whyNotNewTaskName(std::string_view strName);

/// Checks the name of an event. \return what is wrong; empty when the name is valid.
std::string whyNotEventName(std::string_view strName);

/// Checks a description: one line. \return what is wrong; empty when it is valid.
std::string whyNotDescription(std::string_view strDescription);

/// Checks a place for run output, as in "SHARE" or "SHARE/FOLDER/FOLDER".
/// \return what is wrong; empty when it is valid.
std::string whyNotOutputPath(std::string_view strPath);

}  // namespace Host
