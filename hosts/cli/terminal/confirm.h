/// \file confirm.h
/// Asking before something is taken away.

#pragma once

#include <string>

/// Says what is about to happen, and asks on a terminal.
/// \param strConsequence  a sentence without its end.
/// \param strQuestion     "Delete it?"
/// \param strRefused      what is said when the answer is not yes.
/// \throw Host::Failure when the answer is not yes; without a terminal, one that names --yes.
void confirm(const std::string& strConsequence, const std::string& strQuestion, const std::string& strRefused);
