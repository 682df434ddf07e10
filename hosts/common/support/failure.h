/// \file failure.h
/// The exceptions of all operations.

#pragma once

#include <stdexcept>
#include <string>

namespace Host {

/// For failures of the library, which writes the reason to the log only.
inline constexpr char SEE_LOG[] = "the reason is in the system log";

/// A remedy for a failure; each host puts it into words.
enum class Hint { NONE, CREATE_STORE, RESTORE_STORE, LIST_EVENTS };

/// An operation failed. The text is for the user and names the input.
class Failure : public std::runtime_error {
public:
  explicit Failure(const std::string& strText, Hint hint = Hint::NONE) : std::runtime_error(strText), m_hint(hint) {}

  Hint hint() const { return m_hint; }

private:
  Hint m_hint;
};

/// The request itself is wrong: the user has to type something else.
class UsageFailure : public Failure {
public:
  using Failure::Failure;
};

}  // namespace Host
