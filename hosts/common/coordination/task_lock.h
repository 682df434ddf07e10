/// \file task_lock.h
/// Keeps what starts a task and what changes it apart.
///
/// The library starts a task from a copy of its record, and writes that copy back whole a moment later: a change
/// that came in between would be lost, and a new name would not be noticed. So an execution announces the tasks
/// that it may start, and withdraws each when it has started (from then on its run tells that it cannot be
/// changed); a change needs a task that nobody has announced.
///
/// The locks lie in the kernel and go away with their holders. They belong to the open file, so that a child that
/// gets the descriptor holds them too.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "common/support/unique_fd.h"

namespace Host {

class TaskLock {
public:
  /// Holds nothing yet. \throw Failure when the file of the locks cannot be opened.
  TaskLock();

  /// Holds what another process has taken, for a child that got its descriptor.
  explicit TaskLock(int fd) : m_fd(fd) {}

  /// Announces tasks that may be started from now on; any number of executions may do that.
  /// Waits for changes under way. \throw Failure when one of them does not end.
  void announce(const std::vector<std::string>& vecTasks);

  /// Takes the turn to find out whether a task runs already, and to start it if it does not.
  /// Waits for whoever has the turn.
  /// \return false when that took too long; the start is safe then too, but may come to be a second one.
  bool takeTurn(const std::vector<std::string>& vecTasks, std::chrono::milliseconds limit = TURN_LIMIT);

  /// An execution keeps a turn for a second or two, and several may stand in line.
  static constexpr std::chrono::milliseconds TURN_LIMIT = std::chrono::minutes(1);

  /// Lets the next one have the turn.
  void endTurn(const std::string& strTask);

  /// Lets the next ones have every turn that is held.
  void endTurns();

  /// Withdraws a task, and ends its turn.
  void withdraw(const std::string& strTask);

  /// Takes tasks for a change: none of them may be announced, or be changed by somebody else.
  /// \return the first that cannot be had within the limit, and none of them is held then; nothing when all are.
  std::optional<std::string> tryChange(const std::vector<std::string>& vecTasks, std::chrono::milliseconds limit);

  /// Takes all tasks for a change, those that come to be meanwhile among them.
  /// \return false when that cannot be had within the limit.
  bool tryChangeAll(std::chrono::milliseconds limit);

  /// For a child that is to hold the same locks.
  int fd() const { return m_fd.get(); }

private:
  UniqueFd m_fd;
};

}  // namespace Host
