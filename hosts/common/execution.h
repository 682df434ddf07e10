/// \file execution.h
/// One execution in a process of its own.

#pragma once

#include <json/value.h>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <vector>

#include "execution_file.h"
#include "session.h"
#include "task_graph.h"
#include "task_lock.h"
#include "unique_fd.h"

namespace Host {

/// What is to be run: every task of an event, or one task.
struct ExecutionRequest {
  bool blByEvent = true;
  std::string strName;  ///< the event, or the task
};

/// What an execution is expected to run, checked and made ready.
struct ExecutionPlan {
  std::vector<GraphTask> vecTasks;       ///< in the order in which they can start
  std::vector<std::string> vecFirst;     ///< those of them that others wait to see started
  std::vector<std::string> vecWarnings;  ///< what the user should know
  Json::Int64 iLastResult = 0;           ///< runs up to this one are older
};

/// Checks that the request can be run safely, announces its tasks, and makes their output folders ready.
/// \throw Failure with the reason; nothing has been run then.
ExecutionPlan prepareExecution(Session& session, const ExecutionRequest& request, TaskLock& lock);

/// The process that runs a request, seen from the one that started it.
///
/// It does nothing else, has one thread, and goes on when its starter ends. No session may be open when it is
/// started.
class Execution {
public:
  /// \param lock  the announced tasks; they stay announced until they are withdrawn, or the process ends.
  Execution(ExecutionRequest request, const TaskLock& lock);

  Execution(const Execution&) = delete;
  Execution& operator=(const Execution&) = delete;

  pid_t pid() const { return m_pid; }

  /// Processes of the runs that it has started so far.
  std::set<pid_t> children() const { return m_file.children(); }

  /// Waits for its end, up to a time.
  /// \return its wait status; nothing while it goes on.
  std::optional<int> waitEnd(int iMilliseconds);

private:
  ExecutionFile m_file;
  pid_t m_pid;
  UniqueFd m_fdProcess;
};

/// Removes the temporary files of an execution that kept no output.
void removeTemporaryFiles(pid_t pidExecution, const std::set<pid_t>& setChildren);

}  // namespace Host
