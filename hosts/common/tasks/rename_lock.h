/// \file rename_lock.h
/// The right to rename or to delete a task.
///
/// Both rewrite the lists of the tasks that wait for it. An execution that is about to start one of those would write
/// its old list back, and that would wait for a task that is gone, for ever.

#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "task_change_lock.h"

namespace Host {

class Session;

/// While it lasts, neither the task nor those that wait for it are started or changed by others.
class RenameLock {
public:
  /// \param vecNames  the task, and the name that it is to get, if it is to get one.
  /// \param szDone    what is to be done with it, for the message: "deleted", "renamed".
  /// \throw Failure when the task runs, or when it or one that waits for it is about to be started, or is being changed
  ///        by somebody else.
  RenameLock(Session& session, const std::vector<std::string>& vecNames, const char* szDone,
             std::chrono::milliseconds limit = TaskChange::LIMIT);

  /// The tasks that wait for it, as long as it has not been renamed or deleted.
  const std::vector<std::string>& dependants() const { return m_vecDependants; }

  /// To be called when it has been done. A run that goes on may write back the list that it has read a moment before;
  /// then that list is changed again.
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
