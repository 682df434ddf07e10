/// \file execution_watch.h
/// The process that watches over an execution.
///
/// It is the parent of the process that calls the library, which can look after nothing while tasks run; and it lives
/// as long as the execution does, which the process that shows the execution need not. It withdraws the tasks that
/// have been started, ends runs that take too long, and clears up at the end. Whoever asks it to end (SIGTERM) has the
/// whole execution ended in an orderly way: what runs is asked to end, and closed with how it ended.

#pragma once

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "execution_plan.h"
#include "execution_request.h"

namespace Host {

/// The result of the watching process when the execution was ended because its time was used up. Otherwise it ends as
/// the process of the execution did.
inline constexpr int RESULT_BUDGET = 4;

/// The same when it was asked to end.
inline constexpr int RESULT_ENDED = 5;

/// Does what the watching process does, from its first to its last step.
[[noreturn]] void watchAndExit(const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
                               const TaskLock& lock);

}  // namespace Host
