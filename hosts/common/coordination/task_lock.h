/// \file task_lock.h
/// Locks tasks, so that a task is not changed while it is started.
///
/// The library starts a task from a copy of its record and writes the whole copy back a moment later. A change in
/// between would be lost, and a new name would not be noticed. So an execution announces the tasks that it may start,
/// and withdraws each task once it has started; from then on its open run protects it. A task can be changed when no
/// execution has announced it.
///
/// The kernel releases the locks when their holders end. They belong to the open file, so a child that gets the
/// descriptor holds them too.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "common/support/unique_fd.h"

namespace Host {

class TaskLock {
public:
  /// Holds no locks yet. \throw Failure when the lock file cannot be opened.
  TaskLock();

  /// For a child: shares the locks of the descriptor that it got.
  explicit TaskLock(int fd) : m_fd(fd) {}

  /// Announces tasks that may be started from now on. Several executions can announce the same task.
  /// Waits for running changes. \throw Failure when one of them takes too long.
  void announce(const std::vector<std::string>& vecTasks);

  /// Takes the turns to start tasks, or to close their runs. Waits for the execution that has one of them.
  /// \return false when the time was up; no turn is held then.
  bool takeTurn(std::vector<std::string> vecTasks, std::chrono::milliseconds limit);

  /// Ends all turns.
  void endTurns();

  /// Withdraws a task.
  void withdraw(const std::string& strTask);

  /// Locks tasks for a change. Waits until none of them is announced or being changed.
  /// \return a task that was still locked when the time was up; no task is locked then. Nothing on success.
  std::optional<std::string> tryChange(const std::vector<std::string>& vecTasks, std::chrono::milliseconds limit);

  /// Locks all tasks for a change, also those that are added meanwhile.
  /// \return false when the time was up.
  bool tryChangeAll(std::chrono::milliseconds limit);

  /// For a child that shares the locks.
  int fd() const { return m_fd.get(); }

private:
  UniqueFd m_fd;
};

}  // namespace Host
