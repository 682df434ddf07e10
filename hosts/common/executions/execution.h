/// \file execution.h
/// A running execution, for the process that started it.

#pragma once

#include <optional>
#include <set>
#include <string>
#include <sys/types.h>

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "common/support/file_alarm.h"
#include "common/support/files.h"
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
  std::set<pid_t> children();

  /// Changes when there are new records.
  unsigned stored();

  /// Folder of its control group; empty where there are none.
  std::string group();

  /// Sleeps until something has happened: a run has begun or ended, a message, the end, or a signal.
  /// \param limit  sleeps no longer than this.
  void wait(std::chrono::milliseconds limit) const;

  /// Sleeps until the end, whatever else happens. \return true when it has ended.
  bool waitEnd(std::chrono::milliseconds limit) const;

  /// The wait status of the execution; nothing while it runs.
  std::optional<int> status();

  /// Takes the messages of the execution so far: complete lines, also those of the log if that is shown.
  std::string takeMessages();

private:
  ExecutionFile m_file;
  FileAlarm m_alarm;
  Pipe m_messages;
  Process m_process;
};

}  // namespace Host
