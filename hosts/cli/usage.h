/// \file usage.h
/// Messages about a wrong command line.

#pragma once

#include <optional>
#include <string>
#include <sys/types.h>

#include "context.h"

/// The error, a suggestion, and the command that shows help. Without a subcommand: the help itself.
std::string usageText(const CLI::App* pApp, const CLI::Error& error);

/// The whole command that was typed: "eorva task add".
std::string typedCommand(const CLI::App& app);

/// Checks that a value is a whole number within limits.
/// \param iMax  0 or less: no upper limit.
CLI::Validator wholeNumber(long long iMin, long long iMax = 0);

/// Checks that a value is one of these words. Help and completion name them.
CLI::Validator oneOf(std::vector<std::string> vecWords);

/// The user whom --owner names; nothing for an empty name. \throw Host::Failure when there is no such user.
std::optional<uid_t> userFrom(const std::string& strUser);

/// Reads a duration; the option gets it in seconds.
CLI::Validator durationWithin(long long iMin, long long iMax);
