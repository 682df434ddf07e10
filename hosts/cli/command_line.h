/// \file command_line.h
/// Reads unfinished command lines: which words can follow, and which values are empty.

#pragma once

#include <string>
#include <vector>

#include "context.h"

/// The words that can follow.
struct NextWord {
  std::vector<std::string> vecWords;  ///< command words, options, or the values of a choice
  std::string strType;                ///< the type of a value, as help shows it: "TASK", "EVENT", "FILE" ...
};

/// Follows the typed words through the definition of the command line.
/// \param vecWords  the words after the program's name, the last one being typed.
NextWord nextWord(const CLI::App& app, const std::vector<std::string>& vecWords);

/// Splits "--option=" into the option and an empty value: the parser would take the next word as the value.
/// \throw Host::UsageFailure when the option takes no value.
std::vector<std::string> withEmptyValues(const CLI::App& app, const std::vector<std::string>& vecWords);

/// Makes the options of a command and its subcommands refuse an empty value, except for texts.
void refuseEmptyValues(CLI::App& command);
