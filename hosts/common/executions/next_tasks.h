/// \file next_tasks.h
/// What an execution starts when a run has ended.
///
/// The library reads the tasks that have nothing left to wait for, and starts them a second later, from what it has
/// read. Two executions that come to one task together would both find that it does not run, and start it twice; and a
/// task that was added after the execution had been prepared would be started without a lock and without a folder. The
/// folder of a task can have gone, too: the library would make another one that anybody may write to. So, in the
/// process of an execution, what the library is about to start is made ready right before it is read.

#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "execution_plan.h"
#include "execution_request.h"

namespace Host {

class Session;

/// Does so for as long as it lives. There can be one in a process.
class NextTasks {
public:
  /// Everything but the place is borrowed.
  /// \param session  the one that the library works with.
  /// \param output   the place of output that the library has read; whatever is configured later counts for others.
  NextTasks(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
            TaskLock& lock, std::optional<std::string> output);
  ~NextTasks();

  NextTasks(const NextTasks&) = delete;
  NextTasks& operator=(const NextTasks&) = delete;

private:
  using Dependences = std::set<std::pair<std::string, std::string>>;  ///< names, and what they wait for

  int beforeList() noexcept;
  void makeReady();
  void checkChanges(const TaskGraph& graph, const Json::Value& jTasks);
  void splitTasks(const TaskGraph& graph, std::vector<GraphTask>& vecWaiting, std::vector<GraphTask>& vecReady) const;
  bool announceNew(const std::vector<GraphTask>& vecReady);
  void prepare(const std::vector<GraphTask>& vecWaiting);
  void noteInTheWay(const std::vector<GraphTask>& vecReady);

  Session& m_session;
  const ExecutionRequest& m_request;
  const ExecutionFile& m_file;
  TaskLock& m_lock;
  const Json::Int64 m_iLastResult;
  const std::optional<std::string> m_output;
  std::vector<GraphTask> m_vecAnnounced;
  std::set<std::string> m_setWarnings;  ///< what has been said already
  Dependences m_setChecked;
  int m_cChanges;
  bool m_blUnsafe = false;  ///< nothing more may be started
};

}  // namespace Host
