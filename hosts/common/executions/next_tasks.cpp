#include "next_tasks.h"

#include <algorithm>
#include <cstdio>
#include <fmt/format.h>
#include <sqlite3.h>
#include <sys/types.h>
#include <utility>

#include "orva_platform.h"

#include "common/reasons/not_started.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/text/json_members.h"

namespace Host {

NextTasks::NextTasks(Session& session, const ExecutionRequest& request, const ExecutionPlan& plan,
                     const ExecutionFile& file, TaskLock& lock, std::optional<std::string> output)
    : m_session(session),
      m_request(request),
      m_file(file),
      m_lock(lock),
      m_iLastResult(plan.iLastResult),
      m_output(std::move(output)),
      m_vecAnnounced(plan.vecTasks),
      m_setWarnings(plan.vecWarnings.begin(), plan.vecWarnings.end()),
      m_cChanges(sqlite3_total_changes(session.db())) {
  ORVAStoreAskBeforeList([](void* pThis) { return static_cast<NextTasks*>(pThis)->beforeList(); }, this);
}

NextTasks::~NextTasks() {
  ORVAStoreAskBeforeList(nullptr, nullptr);
}

/// \return negative when no task may start now.
int NextTasks::beforeList() noexcept {
  if (m_blUnsafe) {
    return -1;
  }
  // The library lists tasks for each step of its walk. Only the first list comes after a closed run.
  const int cChanges = sqlite3_total_changes(m_session.db());
  if (cChanges == m_cChanges) {
    return 0;
  }
  m_cChanges = cChanges;
  try {
    makeReady();
    return 0;
  } catch (const std::exception& error) {
    const char* const szWhat =
        m_blUnsafe ? "no more tasks are started" : "the tasks after the last run are not started";
    std::fputs(fmt::format("eorva: {}: {}\n", szWhat, error.what()).c_str(), stderr);
    return -1;
  }
}

void NextTasks::makeReady() {
  std::vector<GraphTask> vecWaiting;
  std::vector<GraphTask> vecReady;
  do {
    const Json::Value jTasks = listTasks(m_session);
    const TaskGraph graph(jTasks);
    checkChanges(graph, jTasks);
    splitTasks(graph, vecWaiting, vecReady);
  } while (announceNew(vecReady));
  prepare(vecWaiting);
  if (vecReady.empty()) {
    return;
  }
  std::vector<std::string> vecNames;
  vecNames.reserve(vecReady.size());
  for (const GraphTask& task : vecReady) {
    vecNames.push_back(task.strName);
  }
  takeTurns(m_session, vecNames, m_lock);
  m_file.noteTurns();
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

/// Tasks that were added or changed during the execution can make the walk endless, too.
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

/// \param vecWaiting  receives the tasks that have not been started yet.
/// \param vecReady    receives those that wait for nothing more.
void NextTasks::splitTasks(const TaskGraph& graph, std::vector<GraphTask>& vecWaiting,
                           std::vector<GraphTask>& vecReady) const {
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
  vecWaiting.clear();
  vecReady.clear();
  for (const GraphTask* pTask : graph.planOf(m_request.strName)) {
    if (setStarted.count(pTask->strName) > 0) {
      continue;
    }
    vecWaiting.push_back(*pTask);
    const bool blReady = std::all_of(pTask->vecNeeds.begin(), pTask->vecNeeds.end(),
                                     [&](const std::string& strNeed) { return setEnded.count(strNeed) > 0; });
    if (blReady && !pTask->blRoot) {
      vecReady.push_back(*pTask);
    }
  }
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

void NextTasks::prepare(const std::vector<GraphTask>& vecWaiting) {
  m_blUnsafe = true;
  for (const std::string& strWarning : prepareFolders(m_output, vecWaiting, m_vecAnnounced)) {
    if (m_setWarnings.insert(strWarning).second) {
      std::fputs(fmt::format("eorva: warning: {}\n", strWarning).c_str(), stderr);
    }
  }
  m_blUnsafe = false;
}

}  // namespace Host
