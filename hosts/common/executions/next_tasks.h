/// \file next_tasks.h
/// Prepares the tasks that are about to start.
///
/// The library lists the tasks that it starts next. Two executions could both find that a task is not running, and
/// start it twice. A task that was added meanwhile would start without a lock and without a folder. A task folder may
/// have been removed: the library would create one that everybody can write to. So the process of an execution prepares
/// these tasks right before the library lists them.

#pragma once

#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "common/tasks/task_owner.h"
#include "execution_plan.h"
#include "execution_request.h"
#include "run_recorder.h"
#include "turns.h"

class OrvaJsonDbApi;

namespace Host {

class Session;

/// Registers for its lifetime. Only one in a process.
class NextTasks {
public:
  /// Borrows everything but the place.
  /// \param session  the session of the library.
  /// \param output   the place that the library has read; later changes of the configuration do not count here.
  NextTasks(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
            TaskLock& lock, Turns& turns, RunRecorder& recorder, std::optional<std::string> output);
  ~NextTasks();

  /// When the library has ended an event: waits until tasks are to be run again, or tasks that waited for them are
  /// ready. The next event of the library runs these tasks. \return false when there are none.
  bool waitForMore();

  NextTasks(const NextTasks&) = delete;
  NextTasks& operator=(const NextTasks&) = delete;

private:
  using Dependences = std::set<std::pair<std::string, std::string>>;  ///< names, and names of tasks that they wait for

  int beforeList() noexcept;
  void onListed(OrvaJsonDbApi* pStore, Json::Value& jRecords) noexcept;
  void warn(const std::string& strWarning);
  void makeReady();
  bool isHeld(const std::vector<std::string>& vecWaitsFor, bool blOnlyAfterSuccess) const;
  void takeRetries();
  void takeReady();
  Json::Value takeMore();
  bool hasChanged();
  void readTasks();
  std::vector<GraphTask> readyTasks() const;
  bool announceNew(const std::vector<GraphTask>& vecReady);
  void prepare(const std::vector<GraphTask>& vecReady);
  void noteInTheWay(const std::vector<GraphTask>& vecReady);

  Session& m_session;
  const ExecutionRequest& m_request;
  const ExecutionFile& m_file;
  TaskLock& m_lock;
  Turns& m_turns;
  RunRecorder& m_recorder;
  const std::optional<std::string> m_output;
  std::vector<GraphTask> m_vecPlan;  ///< as the store has it now
  std::vector<GraphTask> m_vecAnnounced;
  std::set<std::string> m_setWarnings;  ///< warnings that were printed already
  std::vector<GraphTask> m_vecMore;     ///< what the next event of the library is to run
  std::set<std::string> m_setOffered;   ///< ready tasks that the library was given once
  Dependences m_setChecked;
  OwnerCheck m_owners;
  Json::Int64 m_iVersion = -1;  ///< of the store when the plan was read
  int m_cChanges = -1;
  bool m_blFirst = true;
  bool m_blUnsafe = false;   ///< nothing more may be started
  bool m_blRetried = false;  ///< a task was to be run again
  bool m_blMore = false;     ///< the next list of the library is replaced by m_vecMore
};

}  // namespace Host
