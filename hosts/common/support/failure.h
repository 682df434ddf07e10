/// \file failure.h
/// The exceptions of all operations.

#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace Host {

/// For failures of the library, which writes the reason to the log only.
inline constexpr char SEE_LOG[] = "the reason is in the system log";

/// A remedy for a failure; answers/hint_text puts it into words.
struct Hint {
  enum Kind : std::uint8_t {
    NONE,
    CREATE_STORE,
    RESTORE_STORE,
    LIST_EVENTS,
    ALLOW_ANY_EVENT,  ///< names: the event
    ADD_EVENT,        ///< names: the event; here and below
    ADD_EVENT_AT,
    EDIT_EVENT,
    SWITCH_EVENT,
    SET_TIMES,
    MOVE_TASKS,
    REPAIR,
    SET_OUTPUT_PATH,
    RENAME_TASK,    ///< names: the task
    SET_WAITS_FOR,  ///< names: a task, then the tasks that it has to wait for
    RESTORE_BACKUP,
    REPLACE_BACKUP,
    KEEP_OWNER_IDS,
    NAME_EVENT,
    PREFIX_NAMES,
    NAME_TABLE_OWNER,
    SET_OWNER,  ///< names: a task, and its owner; empty when that is not known
  };

  Kind kind = NONE;
  std::vector<std::string> vecNames = {};
};

/// An operation failed. The text is for the user and names the input.
class Failure : public std::runtime_error {
public:
  explicit Failure(const std::string& strText, Hint hint = {}) : std::runtime_error(strText), m_hint(std::move(hint)) {}

  const Hint& hint() const { return m_hint; }

private:
  Hint m_hint;
};

/// The request itself is wrong: the user has to type something else.
class UsageFailure : public Failure {
public:
  using Failure::Failure;
};

}  // namespace Host
