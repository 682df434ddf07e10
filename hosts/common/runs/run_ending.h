/// \file run_ending.h
/// Ends a run before its time, with everything that its script has started.
///
/// What a script starts stays below the process of its run, also when it takes a session of its own and its parents
/// end: that process is the reaper of whatever loses its parent below it. It is held while the run is being ended, so
/// that nothing can slip away; then it goes on, tells how the script ended, and the run is closed like any other.

#pragma once

#include <chrono>
#include <json/value.h>
#include <map>

#include "common/coordination/task_lock.h"
#include "common/support/process.h"

namespace Host {

class Session;

/// Writes into the record of a run why it is being ended.
/// \return false when the run has ended by itself.
bool markEnded(Session& session, Json::Int64 iResult, const char* szWhy);

class RunEnding {
public:
  /// Holds the process of a run.
  /// \param grace  how long what is below it may take to end before it is made to.
  /// \throw Failure when somebody else is ending the run.
  RunEnding(Process process, std::chrono::seconds grace);

  RunEnding(const RunEnding&) = delete;
  RunEnding& operator=(const RunEnding&) = delete;

  /// Lets the process of the run go on, whatever has been reached.
  ~RunEnding();

  /// Tells whether there is anything below it to be ended.
  bool hasWork() const { return !isEmpty(); }

  /// Asks everything below it to end.
  void ask();

  /// Does what is due from then on; to be called several times a second.
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
  std::map<pid_t, Process> m_mapKnown;  ///< what was seen below it and is alive
  bool m_blHeld = true;
  bool m_blAsked = false;  ///< somebody below it has been asked
};

/// Lets the process of a run go on that was held by somebody who did not live to let it go.
void releaseAbandoned(const Process& process);

}  // namespace Host
