/// \file event_environment.h
/// Environment variables that an event passes to its scripts.

#pragma once

#include <string>
#include <utility>

namespace Host {

/// Splits "KEY=VALUE".
/// \throw UsageFailure when it has another form, or when the variable is protected: those that every script gets, and
///        those that change how programs are found or loaded.
std::pair<std::string, std::string> parseVariable(const std::string& strText);

}  // namespace Host
