/// \file start_execution.h
/// Runs an event or a task, from the request to the result.

#pragma once

#include <functional>
#include <json/value.h>
#include <string>
#include <vector>

#include "execution.h"

namespace Host {

class ServiceProcess;
class Session;

/// Checks that the event or the task exists.
/// \param blDetached  refuse a second run of a task here, since nobody reads later messages.
/// \throw Failure with the reason.
void checkRequest(const ExecutionRequest& request, bool blDetached);

/// An execution that is ready to start. Its tasks cannot be changed meanwhile.
class PreparedExecution {
public:
  /// Closes interrupted runs, checks the request, announces the tasks and prepares their folders.
  /// \throw Failure with the reason; nothing has been started then.
  explicit PreparedExecution(ExecutionRequest request);

  /// Starts the execution. No session may be open.
  Execution start() const { return {m_request, m_plan, m_lock}; }

  const ExecutionRequest& request() const { return m_request; }
  const ExecutionPlan& plan() const { return m_plan; }

  /// All stored tasks, with their relations.
  const Json::Value& tasks() const { return m_plan.jTasks; }

  /// The runs that were interrupted and have been closed now.
  const std::vector<Json::Value>& interrupted() const { return m_vecInterrupted; }

private:
  ExecutionRequest m_request;
  TaskLock m_lock;
  std::vector<Json::Value> m_vecInterrupted;
  ExecutionPlan m_plan;
};

/// Called while an execution runs.
struct FollowExecution {
  std::function<void()> fnLook;                             ///< called when something has happened, and after the end
  std::function<void(const std::string& strLines)> fnTell;  ///< shows the messages of the execution
};

/// Waits for the end of an execution.
/// \param pService  set in the main process of a service: a request to end the service ends the execution.
/// \return the wait status of the execution.
int followExecution(Execution& execution, ServiceProcess* pService, const FollowExecution& follow);

/// How an execution ended, if it did not fail.
enum class ExecutionEnd {
  DONE,
  ENDED,   ///< somebody asked for it
  BUDGET,  ///< its time was up
  REFUSED  ///< the task was running when its turn came
};

/// \param iStatus  as followExecution() gives it. \throw Failure when the execution failed.
ExecutionEnd endOf(int iStatus);

}  // namespace Host
