/// \file command_text.h
/// Commands for the user to type.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// "eorva WORDS NAMES OPTIONS", each name quoted for a shell. Names that look like options come last, after "--".
/// \param strOptions  from optionText(), or flags, each after a blank.
std::string eorvaCommand(const std::string& strWords, const std::vector<std::string>& vecNames,
                         const std::string& strOptions = "");

/// " --option VALUE", or " --option=VALUE" when the value looks like an option itself.
std::string optionText(const std::string& strOption, const std::string& strValue);

/// The command that sets which tasks a task waits for.
std::string waitsForCommand(const std::string& strTask, const std::vector<std::string>& vecWaitsFor);

/// The command that sets the owner of a task. \param strUser  empty for one that is not known.
std::string ownerCommand(const std::string& strTask, const std::string& strUser);

}  // namespace Host
