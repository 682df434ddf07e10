/// \file confirm.h
/// Asks before a change that loses something.

#pragma once

#include <string>

/// Tells the consequence, and asks on a terminal.
/// \param strConsequence  a sentence without its end.
/// \param strQuestion     "Delete it?"
/// \param strRefused      message when the answer is not yes.
/// \param szInstead       what to type without a terminal.
/// \throw Host::Failure when the answer is not yes; without a terminal, one that tells what to type.
void confirm(const std::string& strConsequence, const std::string& strQuestion, const std::string& strRefused,
             const char* szInstead = "to confirm, add --yes");
