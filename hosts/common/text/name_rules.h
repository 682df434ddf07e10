/// \file name_rules.h
/// What a name may look like.

#pragma once

#include <string>
#include <string_view>

namespace Host {

/// Says what is wrong with the name of a new task.
///
/// Names become folders and parts of shell command lines, so only what neither a path nor a shell reads is
/// let through: 1 to 64 bytes of letters (UTF-8 too), digits, ".", "_", "-" and inner spaces, the first one a
/// letter or a digit.
/// \return the reason; empty when the name may be used.
std::string whyNotTaskName(std::string_view strName);

/// Says what is wrong with the name of an event that a task is bound to.
/// \return the reason; empty when the name may be used.
std::string whyNotEventName(std::string_view strName);

/// Says what is wrong with a place for run output, as "SHARE" or "SHARE/FOLDER/FOLDER".
/// \return the reason; empty when it may be used.
std::string whyNotOutputPath(std::string_view strPath);

}  // namespace Host
