/// \file rename_lock.h
/// The right to rename or to delete a task.
///
/// Both change the lists of the dependants. An execution that is about to start a dependant would write its old list
/// back, and the dependant would wait for a missing task.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "task_change_lock.h"

namespace Host {

class Session;

/// While it exists, nobody else starts or changes the task or its dependants.
class RenameLock {
public:
  /// \param vecNames  the task, and its new name if it gets one.
  /// \param szDone    the change, for messages: "deleted", "renamed".
  /// \throw Failure when the task runs, or when somebody else is about to start or change it or a dependant.
  RenameLock(Session& session, const std::vector<std::string>& vecNames, const char* szDone,
             std::chrono::milliseconds limit = TaskChange::LIMIT);

  /// The tasks that wait for it; valid until it is renamed or deleted.
  const std::vector<std::string>& dependants() const { return m_vecDependants; }

  /// Call this after the change. A run may write an old list back; then the list is changed again.
  void makeSure() const;

private:
  bool areListsChanged() const;
  void changeLists() const;

  Session& m_session;
  const std::vector<std::string> m_vecNames;
  std::vector<std::string> m_vecDependants;
  std::optional<TaskChange> m_change;
};

}  // namespace Host
