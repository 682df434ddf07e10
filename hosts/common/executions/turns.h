/// \file turns.h
/// The turn of an execution to start tasks.
///
/// The library looks whether a task is running, starts it, and records the run. Between the look and the record,
/// another execution would find the task idle and start it, too. So an execution holds the turn of a task from before
/// the library reads the task's record until it has answered. It also holds it while the library closes a run, since
/// the library then reads the record and writes all of it back.

#pragma once

#include <chrono>
#include <set>
#include <string>
#include <vector>

#include "common/coordination/task_lock.h"

namespace Host {

class Session;

class Turns {
public:
  /// Waits for the turns of tasks that are to be started, and then for a second in which none of them was started:
  /// a run's folder is named after the task and this second. Ends the turns that were held before.
  /// \throw Failure when another execution holds one for too long.
  void takeToStart(Session& session, const std::vector<std::string>& vecTasks);

  /// Waits for the turn of a task whose run is to be closed. After a while it goes on without the turn, for the run has
  /// to be closed. Ends the turns that were held before.
  void takeToClose(const std::string& strTask);

  /// Ends all turns.
  void end() { m_lock.endTurns(); }

  /// For a child: it must not hold them.
  int fd() const { return m_lock.fd(); }

private:
  TaskLock m_lock;
};

}  // namespace Host
