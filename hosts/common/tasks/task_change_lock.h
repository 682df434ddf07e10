/// \file task_change_lock.h
/// The right to change tasks while nobody starts them.

#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "common/coordination/task_lock.h"

namespace Host {

class Session;

/// Tasks whose change also changes others.
struct Subtree {
  std::vector<std::string> vecTasks;
  std::vector<std::string> vecDependants;  ///< the tasks that wait for the first one
};

/// The right to change tasks: nobody starts them while it exists.
class TaskChange {
public:
  /// Whether a running task can be changed.
  enum class Running { REFUSED, ALLOWED };

  /// Another change takes a moment; an execution can hold a task for hours.
  static constexpr std::chrono::milliseconds LIMIT{1000};

  /// \param szDone  the change, for messages: "deleted", "renamed".
  /// \throw Failure when one of them runs and must not, or when somebody else is about to start or change it.
  TaskChange(Session& session, const std::vector<std::string>& vecTasks, const char* szDone,
             Running running = Running::REFUSED, std::chrono::milliseconds limit = LIMIT);

  /// Also takes the dependants, which may run.
  TaskChange(Session& session, const Subtree& subtree, const char* szDone, std::chrono::milliseconds limit = LIMIT);

private:
  TaskLock m_lock;
};

/// The right to change all tasks at once, new ones included: nobody else starts or changes one while it exists.
class Standstill {
public:
  /// \param szDone  the change, for messages: "restored".
  /// \throw Failure when somebody else is about to start or change a task. Running tasks are not checked.
  explicit Standstill(const char* szDone, std::chrono::milliseconds limit = TaskChange::LIMIT);

private:
  TaskLock m_lock;
};

}  // namespace Host
