#include "next_tasks.h"

#include <algorithm>
#include <fmt/format.h>
#include <sqlite3.h>
#include <utility>

#include "orva_platform.h"

#include "common/reasons/not_started.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/tasks/dependency_list.h"
#include "common/tasks/task_owner.h"
#include "common/text/json_members.h"
#include "end_request.h"
#include "messages.h"

namespace Host {

NextTasks::NextTasks(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan,
                     const ExecutionFile& file, TaskLock& lock, Turns& turns, RunRecorder& recorder,
                     std::optional<std::string> output)
    : m_session(session),
      m_request(request),
      m_file(file),
      m_lock(lock),
      m_turns(turns),
      m_recorder(recorder),
      m_output(std::move(output)),
      m_vecAnnounced(plan.vecTasks),
      m_setWarnings(plan.vecWarnings.begin(), plan.vecWarnings.end()) {
  ORVAStoreAskBeforeList([](void* pThis) { return static_cast<NextTasks*>(pThis)->beforeList(); }, this);
  ORVAStoreOnListed([](void* pThis, OrvaJsonDbApi* pStore,
                       Json::Value* pRecords) { static_cast<NextTasks*>(pThis)->onListed(pStore, *pRecords); },
                    this);
}

NextTasks::~NextTasks() {
  ORVAStoreAskBeforeList(nullptr, nullptr);
  ORVAStoreOnListed(nullptr, nullptr);
}

/// \return negative when no task may start now.
int NextTasks::beforeList() noexcept {
  if (m_blUnsafe || isAskedToEnd()) {
    return -1;
  }
  // The library lists tasks for each step of its walk. Only the first list comes after a closed run.
  const int cChanges = sqlite3_total_changes(m_session.db());
  if (std::exchange(m_cChanges, cChanges) == cChanges) {
    return 0;
  }
  try {
    makeReady();
    return 0;
  } catch (const std::exception& error) {
    sendMessage(fmt::format("{}: {}",
                            m_blUnsafe ? "no more tasks are started" : "the tasks after the last run are not started",
                            error.what()));
    return -1;
  }
}

/// Tells whether a task must not start now: a task that it waits for is run again, or failed.
bool NextTasks::isHeld(const std::vector<std::string>& vecWaitsFor, bool blOnlyAfterSuccess) const {
  return std::any_of(vecWaitsFor.begin(), vecWaitsFor.end(), [&](const std::string& strAwaited) {
    return m_recorder.retries().isOpen(strAwaited) || (blOnlyAfterSuccess && !m_recorder.hasSucceeded(strAwaited));
  });
}

/// Hides the tasks that must not start from the library. It would start those without an owner as whoever has the user
/// id now.
void NextTasks::onListed(OrvaJsonDbApi* pStore, Json::Value& jRecords) noexcept {
  if (pStore != m_session.tasks()) {
    return;
  }
  try {
    if (std::exchange(m_blMore, false)) {
      jRecords = takeMore();
    }
    Json::Value jSound(Json::arrayValue);
    for (Json::Value& jTask : jRecords) {
      if (const std::optional<OwnerProblem> problem = m_owners.problemOf(jTask)) {
        if (boolOf(jTask, "enable")) {
          warn(fmt::format("the task \"{}\" is not started: {}", textOf(jTask, "task_name"), problem->strText));
        }
      } else if (!isHeld(readDependencyList(textOf(jTask, "depend_on_task")), boolOf(jTask, "only_after_success"))) {
        jSound.append(std::move(jTask));
      }
    }
    jRecords = std::move(jSound);
  } catch (const std::exception& error) {
    jRecords = Json::Value(Json::arrayValue);
    sendMessage(fmt::format("the next tasks are not started: {}", error.what()));
  }
}

/// Sends a warning, once.
void NextTasks::warn(const std::string& strWarning) {
  if (m_setWarnings.insert(strWarning).second) {
    sendMessage("warning: " + strWarning);
  }
}

void NextTasks::makeReady() {
  // The library lists tasks many times for one step.
  m_owners = {};
  if (hasChanged()) {
    readTasks();
  }
  std::vector<GraphTask> vecReady = readyTasks();
  while (announceNew(vecReady)) {
    readTasks();
    vecReady = readyTasks();
  }
  m_blFirst = false;
  for (const GraphTask& task : m_vecMore) {
    if (m_recorder.hasStarted(task.strName)) {
      vecReady.push_back(task);
    }
  }
  if (vecReady.empty()) {
    // The run is closed by now.
    m_turns.end();
    return;
  }
  prepare(vecReady);
  std::vector<std::string> vecNames;
  vecNames.reserve(vecReady.size());
  for (const GraphTask& task : vecReady) {
    vecNames.push_back(task.strName);
  }
  m_turns.takeToStart(m_session, vecNames);
  noteInTheWay(vecReady);
}

/// The library will find these tasks running.
void NextTasks::noteInTheWay(const std::vector<GraphTask>& vecReady) {
  for (const GraphTask& task : vecReady) {
    if (const Json::Int64 iRun = refusingRunOf(m_session, task.strName); iRun != 0) {
      m_file.noteInTheWay(iRun);
    }
  }
}

/// Tells whether somebody else has written to the store.
bool NextTasks::hasChanged() {
  return std::exchange(m_iVersion, dataVersion(m_session)) != m_iVersion;
}

/// Tasks that were added or changed during the execution can make the walk endless, too.
void NextTasks::readTasks() {
  const Json::Value jTasks = relationsOf(m_session, m_request);
  const TaskGraph graph(jTasks);
  Dependences setDependences;
  for (const Json::Value& jTask : jTasks) {
    setDependences.emplace(textOf(jTask, "task_name"), textOf(jTask, "depend_on_task"));
  }
  if (setDependences != m_setChecked) {
    checkGraph(graph, m_request.strName);
    m_setChecked = std::move(setDependences);
  }
  m_recorder.setTasks(jTasks);
  m_vecPlan.clear();
  for (const GraphTask* pTask : graph.planOf(m_request.strName)) {
    m_vecPlan.push_back(*pTask);
  }
}

/// First the roots; later the tasks whose prerequisites have ended.
std::vector<GraphTask> NextTasks::readyTasks() const {
  std::vector<GraphTask> vecReady;
  for (const GraphTask& task : m_vecPlan) {
    const bool blReady = m_blFirst ? task.blRoot
                                   : !task.blRoot && std::all_of(task.vecWaitsFor.begin(), task.vecWaitsFor.end(),
                                                                 [&](const std::string& strAwaited) {
                                                                   return m_recorder.hasEnded(strAwaited);
                                                                 });
    if (blReady && !m_recorder.hasStarted(task.strName) && !isHeld(task.vecWaitsFor, task.blOnlyAfterSuccess)) {
      vecReady.push_back(task);
    }
  }
  return vecReady;
}

/// Announces tasks that were added during the execution.
/// \return false when there is none.
bool NextTasks::announceNew(const std::vector<GraphTask>& vecReady) {
  std::vector<GraphTask> vecNew;
  std::vector<std::string> vecNames;
  for (const GraphTask& task : vecReady) {
    if (std::none_of(m_vecAnnounced.begin(), m_vecAnnounced.end(),
                     [&](const GraphTask& other) { return other.strName == task.strName; })) {
      vecNew.push_back(task);
      vecNames.push_back(task.strName);
    }
  }
  if (vecNew.empty()) {
    return false;
  }
  m_lock.announce(vecNames);
  m_vecAnnounced.insert(m_vecAnnounced.end(), vecNew.begin(), vecNew.end());
  return true;
}

void NextTasks::prepare(const std::vector<GraphTask>& vecReady) {
  m_blUnsafe = true;
  for (const std::string& strWarning : prepareFolders(m_output, vecReady, m_vecAnnounced)) {
    warn(strWarning);
  }
  m_blUnsafe = false;
}

/// Takes the tasks whose next try is due, as the store has them now.
void NextTasks::takeRetries() {
  const std::vector<std::string> vecDue = m_recorder.takeRetries();
  if (vecDue.empty()) {
    return;
  }
  m_lock.announce(vecDue);
  readTasks();
  for (const std::string& strTask : vecDue) {
    const auto it = std::find_if(m_vecPlan.begin(), m_vecPlan.end(),
                                 [&](const GraphTask& task) { return task.strName == strTask; });
    if (it != m_vecPlan.end() && m_recorder.mayRetry(strTask)) {
      m_vecMore.push_back(*it);
    } else {
      m_recorder.retries().giveUp(strTask);
      m_lock.withdraw(strTask);
      sendMessage(fmt::format("the task \"{}\" is not run again: it was changed meanwhile", strTask));
    }
  }
}

/// Takes the tasks that have become ready since, each once: the library may refuse them.
void NextTasks::takeReady() {
  if (hasChanged()) {
    readTasks();
  }
  for (const GraphTask& task : readyTasks()) {
    if (m_setOffered.insert(task.strName).second) {
      m_vecMore.push_back(task);
    }
  }
}

bool NextTasks::waitForMore() {
  if (!m_blRetried && !m_recorder.retries().due()) {
    return false;
  }
  if (!std::exchange(m_blRetried, true)) {
    // The library has refused these.
    takeReady();
  }
  m_vecMore.clear();
  m_cChanges = -1;
  // Other executions must not wait for the tasks of this one until the next try.
  m_turns.end();
  for (bool blGoOn = !m_blUnsafe && !isAskedToEnd(); blGoOn; blGoOn = m_recorder.waitForRetry()) {
    takeRetries();
    takeReady();
    if (!m_vecMore.empty()) {
      m_blMore = true;
      return true;
    }
  }
  return false;
}

/// The records of the tasks that are to be run now.
Json::Value NextTasks::takeMore() {
  Json::Value jTasks(Json::arrayValue);
  for (const GraphTask& task : m_vecMore) {
    jTasks.append(requireTask(m_session, task.strName));
  }
  m_vecMore.clear();
  return jTasks;
}

}  // namespace Host
