/// \file execution_watch.h
/// The process that watches an execution.
///
/// It is the parent of the process that calls the library, and lives as long as the execution, also when the process
/// that shows the execution ends. It ends runs over their time limit and those that somebody wants to end, and cleans
/// up at the end. It sleeps until something is noted in the execution's file, or a time is up. SIGTERM ends the whole
/// execution: the runs are asked to end, and closed with their exit status.

#pragma once

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "execution_plan.h"
#include "execution_request.h"

namespace Host {

/// Exit status of the watching process when the budget was used up. Without this or the next, it is that of the process
/// of the execution.
inline constexpr int RESULT_BUDGET = 4;

/// Exit status of the watching process when it was asked to end.
inline constexpr int RESULT_ENDED = 5;

/// Exit status of the process of the execution when its task was running already.
inline constexpr int RESULT_REFUSED = 6;

/// Runs the watching process.
/// \param fdMessages  a pipe to the starter: messages, and the log if that is shown.
[[noreturn]] void watchAndExit(const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
                               const TaskLock& lock, int fdMessages);

}  // namespace Host
