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
#include <string>
#include <vector>

#include "session.h"
#include "unique_fd.h"

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

  /// For a child that is to hold the same locks.
  int fd() const { return m_fd.get(); }

private:
  UniqueFd m_fd;
};

/// Tasks whose change rewrites others, too.
struct Subtree {
  std::vector<std::string> vecTasks;
  std::vector<std::string> vecDependants;  ///< those that wait for the first one
};

/// The right to change tasks: while it lasts none of them is started.
class TaskChange {
public:
  /// What a task that runs means for the change.
  enum class Running { REFUSED, ALLOWED };

  /// Another change ends within a moment; an announced task may stay announced for hours.
  static constexpr std::chrono::milliseconds LIMIT{1000};

  /// \param szDone  what is to be done with them, for the message: "deleted", "renamed".
  /// \throw Failure when one of them runs though it must not, is about to be started, or is being changed by
  ///        somebody else.
  TaskChange(Session& session, const std::vector<std::string>& vecTasks, const char* szDone,
             Running running = Running::REFUSED, std::chrono::milliseconds limit = LIMIT);

  /// The same for those that are rewritten as well; they may run.
  TaskChange(Session& session, const Subtree& subtree, const char* szDone, std::chrono::milliseconds limit = LIMIT);

private:
  TaskLock m_lock;
};

/// The right to change all tasks at once: while it lasts none is started or changed by others, and none that comes to
/// be meanwhile.
class Standstill {
public:
  /// \param szDone  what is to be done, for the message: "restored".
  /// \throw Failure when some task is about to be started, or is being changed by somebody else. What runs already is
  ///        not looked at.
  explicit Standstill(const char* szDone, std::chrono::milliseconds limit = TaskChange::LIMIT);

private:
  TaskLock m_lock;
};

}  // namespace Host
