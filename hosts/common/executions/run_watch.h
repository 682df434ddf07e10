/// \file run_watch.h
/// Watches the runs of one execution: time limits, and runs that are to be ended.

#pragma once

#include <chrono>
#include <map>
#include <optional>
#include <set>
#include <sys/types.h>

#include "common/coordination/execution_file.h"
#include "common/runs/run_ending.h"

namespace Host {

class RunWatch {
public:
  using Clock = std::chrono::steady_clock;

  /// \param grace  time for a run to end after it was asked.
  RunWatch(ExecutionFile& file, std::chrono::seconds grace) : m_file(file), m_grace(grace) {}

  /// Reads what is new in the file, begins to end runs that are over their time limit or that somebody wants to end,
  /// and continues to end others.
  void look();

  /// Ends all runs that have not ended, also those that begin later.
  void endAll(const char* szWhy);

  /// Tells whether any run is being ended.
  bool isEnding() const { return !m_mapEndings.empty(); }

  /// When look() is due, unless the file changes before.
  std::optional<Clock::time_point> due() const;

private:
  void take(pid_t pid, const RunNotes& run);
  void end(pid_t pid, std::chrono::seconds grace);
  void endNow(pid_t pid, const char* szWhy);
  void endOverdue();

  ExecutionFile& m_file;
  std::chrono::seconds m_grace;
  std::set<pid_t> m_setOpen;
  std::map<pid_t, Clock::time_point> m_mapDeadlines;  ///< of runs with a time limit
  std::map<pid_t, RunEnding> m_mapEndings;
  const char* m_szEndAll = nullptr;
};

}  // namespace Host
