/// \file execution.h
/// A running execution, for the process that started it.

#pragma once

#include <json/value.h>
#include <optional>
#include <set>
#include <sys/types.h>

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "common/support/process.h"
#include "execution_plan.h"
#include "execution_request.h"

namespace Host {

/// The process that watches an execution (see execution_watch.h). It continues when its starter ends.
///
/// Starting it sets SIGCHLD for the whole process, and forks. A host with threads starts executions as services only.
class Execution {
public:
  /// Starts it. No session may be open then.
  /// \param lock  the announced tasks. They stay announced until they have started or the execution ends.
  Execution(const ExecutionRequest& request, const ExecutionPlan& plan, const TaskLock& lock);

  Execution(const Execution&) = delete;
  Execution& operator=(const Execution&) = delete;

  pid_t pid() const { return m_process.pid(); }

  /// The processes of all runs so far.
  std::set<pid_t> children() const { return m_file.children(); }

  /// Waits for the end of the execution, up to a time.
  /// \return its wait status; nothing while it runs.
  std::optional<int> waitEnd(int iMilliseconds);

private:
  ExecutionFile m_file;
  Process m_process;
};

}  // namespace Host
