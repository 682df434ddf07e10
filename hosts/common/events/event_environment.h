/// \file event_environment.h
/// What whoever fires an event may tell the scripts about it.

#pragma once

#include <string>
#include <utility>

namespace Host {

/// Takes "KEY=VALUE" apart.
/// \throw UsageFailure when it is none, or when scripts may not be told this: variables that are the same for every
///        script, and those that change how programs are found, loaded or read, keep what they are.
std::pair<std::string, std::string> parseVariable(const std::string& strText);

}  // namespace Host
