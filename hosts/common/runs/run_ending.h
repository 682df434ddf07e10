/// \file run_ending.h
/// Ends a run with all processes that its script started.

#pragma once

#include <chrono>
#include <vector>

#include "run_group.h"

namespace Host {

class RunEnding {
public:
  /// Asks the processes to end.
  /// \param grace  time to do so before they are killed.
  RunEnding(RunGroup group, std::chrono::seconds grace);

  /// Asks them when there was none to ask yet, and kills all when the time is up; to be called several times a second.
  /// \return true when no process is left.
  bool step();

private:
  RunGroup m_group;
  std::chrono::steady_clock::time_point m_deadline;
  bool m_blAsked = false;  ///< those that are started later may be about to tidy up
};

/// Ends the processes left of several runs.
/// \param last  how long to wait, after the grace, for processes that were killed.
void endRuns(const std::vector<RunGroup>& vecGroups, std::chrono::seconds grace, std::chrono::seconds last);

}  // namespace Host
