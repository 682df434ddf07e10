/// \file usage.h
/// What is said about a command line that cannot be understood, and help.

#pragma once

#include <string>

#include "context.h"

/// The failure message of the command line: what is wrong, what was meant perhaps, and where to look it up.
std::string usageText(const CLI::App* pApp, const CLI::Error& error);

/// The command that was typed last, with those above it: "eorva task add".
std::string typedCommand(const CLI::App& app);

/// A value that must be a whole number within limits, or at least the lower one.
/// \param szUnit  what it counts, as " of seconds"; may be empty.
CLI::Validator wholeNumber(long long iMin, long long iMax = 0, const char* szUnit = "");
