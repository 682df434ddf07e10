/// \file execution_process.h
/// The process that calls the library to run tasks. It does nothing else and has one thread.

#pragma once

#include <sys/types.h>

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "end_reports.h"
#include "execution_plan.h"
#include "execution_request.h"

namespace Host {

/// Runs the process of an execution. Exit status 1: the library failed. Ends when the watch does.
[[noreturn]] void executeAndExit(const ExecutionRequest& request, const ExecutionPlan& plan, ExecutionFile& file,
                                 TaskLock& lock, const EndReports& ends, pid_t pidWatch);

}  // namespace Host
