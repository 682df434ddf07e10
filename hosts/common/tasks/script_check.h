/// \file script_check.h
/// Signs that a script will not run.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Checks a script before it is stored. \return warnings; none keeps the script from being stored.
std::vector<std::string> warnAboutScript(const std::string& strScript);

/// Checks the folder that scripts are started from.
/// \return why scripts cannot run there; empty when they can.
std::string warnAboutScriptFolder();

}  // namespace Host
