#include "rename_lock.h"

#include <algorithm>
#include <fmt/format.h>
#include <thread>

#include "eorvascheduler.h"

#include "common/coordination/execution_file.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "dependency_list.h"
#include "task_graph.h"

namespace Host {

namespace {

/// How long the library may take from reading a record to writing it back.
constexpr std::chrono::milliseconds WRITE_TIME{100};

std::vector<std::string> dependantsOf(Session& session, const std::string& strTask) {
  std::vector<std::string> vecNames;
  const TaskGraph graph(listTasks(session));
  for (const GraphTask* pTask : graph.dependantsOf(strTask)) {
    vecNames.push_back(pTask->strName);
  }
  return vecNames;
}

std::vector<std::string> waitsFor(Session& session, const std::string& strTask) {
  return readDependencyList(textOf(findTask(session, strTask), "depend_on_task"));
}

bool contains(const std::vector<std::string>& vecNames, const std::string& strName) {
  return std::find(vecNames.begin(), vecNames.end(), strName) != vecNames.end();
}

}  // namespace

RenameLock::RenameLock(Session& session, const std::vector<std::string>& vecNames, const char* szDone,
                       std::chrono::milliseconds limit)
    : m_session(session), m_vecNames(vecNames), m_vecDependants(dependantsOf(session, vecNames.front())) {
  // The dependants can change until they are locked.
  for (;;) {
    m_change.emplace(session, Subtree{m_vecNames, m_vecDependants}, szDone, limit);
    std::vector<std::string> vecNow = dependantsOf(session, m_vecNames.front());
    const bool blLocked = std::all_of(vecNow.begin(), vecNow.end(),
                                      [&](const std::string& strTask) { return contains(m_vecDependants, strTask); });
    m_vecDependants = std::move(vecNow);
    if (blLocked) {
      return;
    }
    m_change.reset();
  }
}

bool RenameLock::areListsChanged() const {
  return std::none_of(m_vecDependants.begin(), m_vecDependants.end(), [&](const std::string& strTask) {
    return contains(waitsFor(m_session, strTask), m_vecNames.front());
  });
}

void RenameLock::changeLists() const {
  WriteLock lock(m_session);
  for (const std::string& strTask : m_vecDependants) {
    std::vector<std::string> vecWaitsFor = waitsFor(m_session, strTask);
    const auto it = std::find(vecWaitsFor.begin(), vecWaitsFor.end(), m_vecNames.front());
    if (it == vecWaitsFor.end()) {
      continue;
    }
    if (m_vecNames.size() > 1) {
      *it = m_vecNames.back();
    } else {
      vecWaitsFor.erase(it);
    }
    Json::Value jUpdate(Json::objectValue);
    jUpdate["task_name"] = strTask;
    jUpdate["depend_on_task"] = writeDependencyList(vecWaitsFor);
    if (recUpdate(m_session.tasks(), jUpdate, m_session.db()) < 0) {
      vecWaitsFor.insert(vecWaitsFor.begin(), strTask);
      throw Failure(fmt::format("the store refused to change the tasks that \"{}\" waits for", strTask),
                    {Hint::SET_WAITS_FOR, vecWaitsFor});
    }
  }
  lock.commit();
}

void RenameLock::makeSure() const {
  while (!m_vecDependants.empty() && isAnyExecutionAlive()) {
    std::this_thread::sleep_for(WRITE_TIME);
    if (areListsChanged()) {
      return;
    }
    changeLists();
  }
}

}  // namespace Host
