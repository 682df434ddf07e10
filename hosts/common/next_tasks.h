/// \file next_tasks.h
/// What an execution starts when a run has ended.
///
/// The library reads the tasks that have nothing left to wait for, and starts them a second later, from what it has
/// read. Two executions that come to one task together would both find that it does not run, and start it twice; and a
/// task that was added after the execution had been prepared would be started without a lock and without a folder. So,
/// in the process of an execution, what the library is about to start is made ready right before it is read.

#pragma once

#include <set>
#include <string>
#include <utility>
#include <vector>

#include "execution_file.h"
#include "execution_plan.h"
#include "execution_request.h"
#include "session.h"
#include "task_lock.h"

namespace Host {

/// Does so for as long as it lives. There can be one in a process.
class NextTasks {
public:
  /// Everything is borrowed. \param session  the one that the library works with.
  NextTasks(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
            TaskLock& lock);
  ~NextTasks();

  NextTasks(const NextTasks&) = delete;
  NextTasks& operator=(const NextTasks&) = delete;

private:
  using Dependences = std::set<std::pair<std::string, std::string>>;  ///< names, and what they wait for

  int beforeList() noexcept;
  void makeReady();
  void checkChanges(const TaskGraph& graph, const Json::Value& jTasks);
  std::vector<GraphTask> readyTasks(const TaskGraph& graph);
  void addNew(const std::vector<GraphTask>& vecReady);
  void noteInTheWay(const std::vector<GraphTask>& vecReady);

  Session& m_session;
  const ExecutionRequest& m_request;
  const ExecutionFile& m_file;
  TaskLock& m_lock;
  const Json::Int64 m_iLastResult;
  std::vector<GraphTask> m_vecAnnounced;
  Dependences m_setChecked;
  int m_cChanges;
};

}  // namespace Host
