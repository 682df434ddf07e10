/// \file run_watch.h
/// The runs of one execution, looked after while they go on.

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
  /// \param iLastResult  runs up to this one are older than the execution.
  /// \param grace        how long a run may take to end when it is asked to.
  /// \param retryPause   how long a run that could not be asked to end is left alone.
  RunWatch(TaskLock& lock, Json::Int64 iLastResult, std::chrono::seconds grace,
           std::chrono::seconds retryPause = std::chrono::seconds(1))
      : m_lock(lock), m_iSeen(iLastResult), m_grace(grace), m_retryPause(retryPause) {}

  /// Reads what has begun and ended since the last time. Tasks that have been started are withdrawn, and the records
  /// get what tells which processes their numbers mean.
  /// \param file          tells the processes of the runs of the execution.
  /// \param pidExecution  the parent of those processes.
  void look(const ExecutionFile& file, pid_t pidExecution);

  /// Begins to end every run whose task may not run longer.
  void endOverdue();

  /// Begins to end every run.
  void endAll(const char* szWhy);

  /// Goes on ending what is being ended.
  /// \return true when nothing is.
  bool step();

  /// Tells whether all runs have been closed.
  bool areAllClosed() const { return m_mapOpen.empty(); }

  /// Processes of the runs that are open.
  std::set<pid_t> processes() const;

  /// Tells whether this run is being ended here.
  bool isEnding(pid_t pid) const;

private:
  struct OpenRun {
    pid_t pid = 0;
    std::chrono::seconds limit{0};
    bool blIdentified = false;                      ///< its record tells which process its number means
    bool blAsked = false;                           ///< ended here, or by itself when that was tried
    std::chrono::steady_clock::time_point retry{};  ///< not tried again before
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
