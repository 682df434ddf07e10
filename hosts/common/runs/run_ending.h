/// \file run_ending.h
/// Ends a run with all processes that its script started.
///
/// All processes of a script stay below the process of the run, which is their subreaper: also those that start a
/// session of their own and lose their parents. The process of the run is stopped while they are ended, so that none of
/// them escapes. Then it continues, reports the exit status of the script, and the run is closed as usual.

#pragma once

#include <chrono>
#include <json/value.h>
#include <map>

#include "common/coordination/task_lock.h"
#include "common/support/process.h"

namespace Host {

class Session;

/// Writes into the record why the run is being ended.
/// \return false when the run has ended already.
bool markEnded(Session& session, Json::Int64 iResult, const char* szWhy);

class RunEnding {
public:
  /// Stops the process of a run.
  /// \param grace  time for the processes below it to end, before they are killed.
  /// \throw Failure when another process is ending the run.
  RunEnding(Process process, std::chrono::seconds grace);

  RunEnding(const RunEnding&) = delete;
  RunEnding& operator=(const RunEnding&) = delete;

  /// Continues the process of the run.
  ~RunEnding();

  /// Tells whether there are processes to end.
  bool hasWork() const { return !isEmpty(); }

  /// Asks all of them to end.
  void ask();

  /// Kills them when their time is up; to be called several times a second.
  /// \return true when the process of the run has ended.
  bool step();

private:
  using Clock = std::chrono::steady_clock;

  void look();
  bool isEmpty() const;
  void askKnown();
  void freeze();
  void killAll();
  void hold();
  void letGo();

  Process m_process;
  TaskLock m_lock;
  std::chrono::seconds m_grace;
  Clock::time_point m_deadline;
  std::map<pid_t, Process> m_mapKnown;  ///< the living processes below it
  bool m_blHeld = true;
  bool m_blAsked = false;  ///< at least one process was asked
};

/// Continues the process of a run when the process that stopped it has died.
void releaseAbandoned(const Process& process);

}  // namespace Host
