/// \file confirm.h
/// Asks before something is deleted.

#pragma once

#include <string>

/// Describes the consequence and asks on the terminal.
/// \param strConsequence  a sentence without its end.
/// \param strQuestion     "Delete it?"
/// \param strRefused      the message when the answer is not yes.
/// \throw Host::Failure when the answer is not yes; without a terminal, one that names --yes.
void confirm(const std::string& strConsequence, const std::string& strQuestion, const std::string& strRefused);
