#include "next_tasks.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/types.h>

#include "orva_platform.h"

#include "failure.h"
#include "json_read.h"
#include "start_reason.h"

namespace Host {

NextTasks::NextTasks(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan,
                     const ExecutionFile& file, TaskLock& lock)
    : m_session(session),
      m_request(request),
      m_file(file),
      m_lock(lock),
      m_iLastResult(plan.iLastResult),
      m_vecAnnounced(plan.vecTasks),
      m_cChanges(sqlite3_total_changes(session.db())) {
  ORVAStoreAskBeforeList([](void* pThis) { return static_cast<NextTasks*>(pThis)->beforeList(); }, this);
}

NextTasks::~NextTasks() {
  ORVAStoreAskBeforeList(nullptr, nullptr);
}

/// \return negative when nothing may be started now.
int NextTasks::beforeList() noexcept {
  // The library walks from task to task with a list each. Only the first one comes after a run was closed.
  const int cChanges = sqlite3_total_changes(m_session.db());
  if (cChanges == m_cChanges) {
    return 0;
  }
  m_cChanges = cChanges;
  try {
    makeReady();
    return 0;
  } catch (const std::exception& error) {
    std::fputs(fmt::format("eorva: what waited for the last run is not started: {}\n", error.what()).c_str(), stderr);
    return -1;
  }
}

void NextTasks::makeReady() {
  const Json::Value jTasks = listTasks(m_session);
  const TaskGraph graph(jTasks);
  checkChanges(graph, jTasks);
  const std::vector<GraphTask> vecReady = readyTasks(graph);
  if (vecReady.empty()) {
    return;
  }
  addNew(vecReady);
  std::vector<std::string> vecNames;
  vecNames.reserve(vecReady.size());
  for (const GraphTask& task : vecReady) {
    vecNames.push_back(task.strName);
  }
  takeTurns(m_session, vecNames, m_lock);
  m_file.noteTurns();
  noteInTheWay(vecReady);
}

/// The library is going to find these tasks running.
void NextTasks::noteInTheWay(const std::vector<GraphTask>& vecReady) {
  for (const GraphTask& task : vecReady) {
    if (const Json::Int64 iRun = refusingRunOf(m_session, task.strName); iRun != 0) {
      m_file.noteInTheWay(iRun);
    }
  }
}

/// What is added or changed while the execution is under way can make a walk endless too.
void NextTasks::checkChanges(const TaskGraph& graph, const Json::Value& jTasks) {
  Dependences setDependences;
  for (const Json::Value& jTask : jTasks) {
    setDependences.emplace(textOf(jTask, "task_name"), textOf(jTask, "depend_on_task"));
  }
  if (setDependences != m_setChecked) {
    checkGraph(graph, m_request.strName);
    m_setChecked = std::move(setDependences);
  }
}

/// The tasks that have nothing left to wait for, and have not been started yet.
std::vector<GraphTask> NextTasks::readyTasks(const TaskGraph& graph) {
  const std::set<pid_t> setChildren = m_file.children();
  std::set<std::string> setStarted;
  std::set<std::string> setEnded;
  for (const Json::Value& jRun : listRuns(m_session, fmt::format("result_id > {}", m_iLastResult))) {
    if (setChildren.count(static_cast<pid_t>(intOf(jRun, "pid"))) > 0) {
      setStarted.insert(textOf(jRun, "task_name"));
      if (jRun.isMember("stop_time")) {
        setEnded.insert(textOf(jRun, "task_name"));
      }
    }
  }
  std::vector<GraphTask> vecReady;
  for (const GraphTask* pTask : graph.planOf(m_request.strName)) {
    const bool blReady = std::all_of(pTask->vecNeeds.begin(), pTask->vecNeeds.end(),
                                     [&](const std::string& strNeed) { return setEnded.count(strNeed) > 0; });
    if (blReady && !pTask->blRoot && setStarted.count(pTask->strName) == 0) {
      vecReady.push_back(*pTask);
    }
  }
  return vecReady;
}

/// Tasks that the execution was not prepared for.
void NextTasks::addNew(const std::vector<GraphTask>& vecReady) {
  std::vector<std::string> vecNew;
  std::vector<GraphTask> vecAll = m_vecAnnounced;
  for (const GraphTask& task : vecReady) {
    if (std::none_of(m_vecAnnounced.begin(), m_vecAnnounced.end(),
                     [&](const GraphTask& other) { return other.strName == task.strName; })) {
      vecNew.push_back(task.strName);
      vecAll.push_back(task);
    }
  }
  if (vecNew.empty()) {
    return;
  }
  m_lock.announce(vecNew);
  for (const std::string& strWarning : prepareFolders(vecAll)) {
    std::fputs(fmt::format("eorva: warning: {}\n", strWarning).c_str(), stderr);
  }
  m_vecAnnounced = std::move(vecAll);
}

}  // namespace Host
