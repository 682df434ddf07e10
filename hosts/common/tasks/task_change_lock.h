/// \file task_change_lock.h
/// The right to change tasks, which nobody starts meanwhile.

#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "common/coordination/task_lock.h"

namespace Host {

class Session;

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
