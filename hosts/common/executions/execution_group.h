/// \file execution_group.h
/// The control groups of an execution.
///
///     UNIT/            a scope or service of systemd; without systemd a group below that of the starter
///       watch/         the processes of the execution itself
///       run-PID/       one run with everything that its script started

#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "execution_request.h"

namespace Host {

class ExecutionFile;

/// How long the unit of an execution may take to end its runs and their background processes.
std::chrono::seconds stopTime();

/// Moves the calling process, the watch of an execution, into the group "watch" of the execution.
/// \param file  gets a note of the execution's group, which is named after it.
void enterExecutionGroup(const ExecutionRequest& request, const ExecutionFile& file);

/// Moves the main process of a service into its group "watch".
void enterServiceGroup();

/// The group that a run has entered.
struct RunGroupEntry {
  std::string strName;
  int iMemoryError = 0;  ///< why its memory is not limited: an errno; 0 if it is, or has no limit
};

/// Moves the calling process, of a run, into a group of its own.
/// \param strExecution  folder of the execution's group.
/// \param cMax          how many processes the run may have.
/// \param cbMemory      how much memory they may have together; 0 for no limit.
/// \throw Failure
RunGroupEntry enterRunGroup(const std::string& strExecution, unsigned cMax, std::uint64_t cbMemory);

/// The groups of runs that still have processes.
std::vector<std::string> populatedRuns(const std::string& strExecution);

/// Removes the groups of an execution that has ended; the calling process may be in "watch".
/// \return false when a group still has processes of scripts, and the caller has to remove it later.
bool leaveExecutionGroup(const std::string& strExecution);

}  // namespace Host
