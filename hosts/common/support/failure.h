/// \file failure.h
/// The exceptions of all operations.

#pragma once

#include <stdexcept>

namespace Host {

/// For failures of the library, which writes the reason to the log only.
inline constexpr char SEE_LOG[] = "the reason is in the system log";

/// An operation failed. The text is for the user and names the input.
class Failure : public std::runtime_error {
public:
  using std::runtime_error::runtime_error;
};

/// The request itself is wrong: the user has to type something else.
class UsageFailure : public Failure {
public:
  using Failure::Failure;
};

}  // namespace Host
