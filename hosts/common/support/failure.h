/// \file failure.h
/// How a host's operation reports that it could not be done.

#pragma once

#include <stdexcept>

namespace Host {

/// What a failure of the library says of itself: its reason goes to the log only.
inline constexpr char SEE_LOG[] = "the reason is in the system log";

/// An operation that failed; the text is for the user and names the input.
class Failure : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// A request that no state of the system could satisfy: the user has to type something else.
class UsageFailure : public Failure {
public:
  using Failure::Failure;
};

}  // namespace Host
