/// \file run_watch.h
/// Watches the runs of one execution.

#pragma once

#include <chrono>
#include <json/value.h>
#include <map>
#include <memory>
#include <set>
#include <sys/types.h>

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "common/runs/run_ending.h"

namespace Host {

class Session;

class RunWatch {
public:
  /// \param iLastResult  the last run before the execution.
  /// \param grace        time for a run to end after it was asked.
  /// \param retryPause   pause before a run is asked again when that failed.
  RunWatch(TaskLock& lock, Json::Int64 iLastResult, std::chrono::seconds grace,
           std::chrono::seconds retryPause = std::chrono::seconds(1))
      : m_lock(lock), m_iSeen(iLastResult), m_grace(grace), m_retryPause(retryPause) {}

  /// Reads which runs have begun and ended. Withdraws the tasks that have started, and writes into the records
  /// what identifies their processes.
  /// \param file          lists the processes of the runs.
  /// \param pidExecution  the parent of those processes.
  void look(const ExecutionFile& file, pid_t pidExecution);

  /// Starts ending every run over its time limit.
  void endOverdue();

  /// Starts ending every run.
  void endAll(const char* szWhy);

  /// Continues ending runs.
  /// \return true when no run is being ended.
  bool step();

  /// Tells whether all runs have been closed.
  bool areAllClosed() const { return m_mapOpen.empty(); }

  /// The processes of the open runs.
  std::set<pid_t> processes() const;

  /// Tells whether the run with this process is being ended here.
  bool isEnding(pid_t pid) const;

private:
  struct OpenRun {
    pid_t pid = 0;
    std::chrono::seconds limit{0};
    bool blIdentified = false;                      ///< its record identifies the process
    bool blAsked = false;                           ///< asked to end, or it had ended by then
    std::chrono::steady_clock::time_point retry{};  ///< not asked again before
    std::unique_ptr<RunEnding> pEnd;
  };

  void note(Session& session, const Json::Value& jRun);
  void identify(Session& session);
  bool identify(Session& session, Json::Int64 iResult) const;
  void end(Json::Int64 iResult, OpenRun& run, const char* szWhy);

  TaskLock& m_lock;
  Json::Int64 m_iSeen;
  std::chrono::seconds m_grace;
  std::chrono::seconds m_retryPause;
  pid_t m_pidExecution = 0;
  std::map<Json::Int64, OpenRun> m_mapOpen;
};

}  // namespace Host
