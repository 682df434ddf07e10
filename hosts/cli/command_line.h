/// \file command_line.h
/// Command lines, read along the command line's own description: what can be typed next, and which values are empty.

#pragma once

#include <string>
#include <vector>

#include "context.h"

/// What may stand at a place of the command line.
struct NextWord {
  std::vector<std::string> vecWords;  ///< command words, options, or the values of a choice
  std::string strType;                ///< what else may stand there, as help shows it: "TASK", "EVENT", "FILE" ...
  std::string strCommand;             ///< the command it belongs to, the last word of it
};

/// Follows the words that have been typed through the command line's own description, so that nothing that is added
/// there has to be told here again.
/// \param vecWords  the words after the program's name, the last one being typed.
NextWord nextWord(const CLI::App& app, const std::vector<std::string>& vecWords);

/// Makes two words of each "--option=", the second one empty: the parser would take the next word for its value.
/// \throw Host::UsageFailure when the option takes none.
std::vector<std::string> withEmptyValues(const CLI::App& app, const std::vector<std::string>& vecWords);

/// Makes the options of a command, and of those below it, refuse an empty value; a text may be empty.
void refuseEmptyValues(CLI::App& command);
