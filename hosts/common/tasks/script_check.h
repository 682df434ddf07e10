/// \file script_check.h
/// What makes a script unlikely to run.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Looks a script over before it is stored.
/// \return one warning a finding; the script may be stored all the same.
std::vector<std::string> warnAboutScript(const std::string& strScript);

/// Looks at the place where scripts are put before they are run.
/// \return why nothing could be run from there; empty when all is well.
std::string warnAboutScriptFolder();

}  // namespace Host
