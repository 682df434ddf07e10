/// \file command_text.h
/// Commands that are shown to be typed.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// "eorva WORDS NAMES OPTIONS", each name as a shell has to be given it. A name that looks like an option stands at the
/// end, behind "--".
/// \param strOptions  from optionText(), or flags, each with a blank before it.
std::string eorvaCommand(const std::string& strWords, const std::vector<std::string>& vecNames,
                         const std::string& strOptions = "");

/// " --option VALUE"; joined by "=" where the value looks like an option itself.
std::string optionText(const std::string& strOption, const std::string& strValue);

/// The command that gives a task a list of tasks to wait for.
std::string needsCommand(const std::string& strTask, const std::vector<std::string>& vecNeeds);

}  // namespace Host
