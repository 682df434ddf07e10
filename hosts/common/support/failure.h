/// \file failure.h
/// How a host's operation reports that it could not be done.

#pragma once

#include <stdexcept>
#include <string>

namespace Host {

/// What the user can do about a failure; each host puts it into words.
enum class Hint { NONE, CREATE_STORE, LIST_EVENTS };

/// An operation that failed; the text is for the user and names the input.
class Failure : public std::runtime_error {
public:
  explicit Failure(const std::string& strText, Hint hint = Hint::NONE) : std::runtime_error(strText), m_hint(hint) {}

  Hint hint() const { return m_hint; }

private:
  Hint m_hint;
};

/// A request that no state of the system could satisfy: the user has to type something else.
class UsageFailure : public Failure {
public:
  using Failure::Failure;
};

}  // namespace Host
