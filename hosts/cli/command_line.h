/// \file command_line.h
/// What can be typed next on a command line that is half done.

#pragma once

#include <string>
#include <vector>

#include "context.h"

/// What may stand at a place of the command line.
struct NextWord {
  std::vector<std::string> vecWords;  ///< command words, options, or the values of a choice
  std::string strType;                ///< what else may stand there, as help shows it: "TASK", "EVENT", "FILE" ...
};

/// Follows the words that have been typed through the command line's own description, so that nothing that is added
/// there has to be told here again.
/// \param vecWords  the words after the program's name, the last one being typed.
NextWord nextWord(const CLI::App& app, const std::vector<std::string>& vecWords);
