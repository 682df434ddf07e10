#include "event_relations.h"

#include <algorithm>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "common/store/records.h"
#include "common/store/session.h"
#include "dependency_list.h"
#include "name_match.h"
#include "name_patterns.h"

namespace Host {

namespace {

/// The tasks that wait for others.
class Waiting {
public:
  explicit Waiting(std::vector<WaitingTask> vecTasks) : m_vecTasks(std::move(vecTasks)) {
    for (const WaitingTask& task : m_vecTasks) {
      std::vector<std::string>& vecAwaited = m_mapAwaited[task.strName] = readDependencyList(task.strDepend);
      if (writeDependencyList(vecAwaited) != task.strDepend) {
        m_vecOdd.push_back(&task);
      }
      for (const std::string& strAwaited : vecAwaited) {
        m_mapDependants[strAwaited].push_back(task.strName);
      }
    }
    NamePatterns::Names names;
    for (const auto& [strAwaited, vecDependants] : m_mapDependants) {
      names.insert(strAwaited);
    }
    m_awaited = NamePatterns(names);
  }

  Waiting(const Waiting&) = delete;
  Waiting& operator=(const Waiting&) = delete;

  /// At least the tasks that the library finds when it looks for those that wait for a name.
  std::vector<std::string> dependantsOf(const std::string& strName) const {
    std::vector<std::string> vecNames;
    for (const std::string& strAwaited : m_awaited.namesLike(strName)) {
      const std::vector<std::string>& vecDependants = m_mapDependants.at(strAwaited);
      vecNames.insert(vecNames.end(), vecDependants.begin(), vecDependants.end());
    }
    addMatching(m_vecOdd, strName, vecNames);
    if (canCrossBrackets(strName)) {
      std::vector<const WaitingTask*> vecAll(m_vecTasks.size());
      std::transform(m_vecTasks.begin(), m_vecTasks.end(), vecAll.begin(), [](const auto& task) { return &task; });
      addMatching(vecAll, strName, vecNames);
    }
    return vecNames;
  }

  /// The names that a task waits for.
  std::vector<std::string> awaitedBy(const std::string& strName) const {
    const auto it = m_mapAwaited.find(strName);
    return it == m_mapAwaited.end() ? std::vector<std::string>() : it->second;
  }

private:
  /// Tells whether the pattern of a name can match from one name of a list into the next.
  static bool canCrossBrackets(const std::string& strName) {
    return strName.find_first_of("[]%") != std::string::npos || strName.find("__") != std::string::npos;
  }

  static void addMatching(const std::vector<const WaitingTask*>& vecTasks, const std::string& strName,
                          std::vector<std::string>& vecNames) {
    for (const WaitingTask* pTask : vecTasks) {
      if (matches(dependantPattern(strName), pTask->strDepend)) {
        vecNames.push_back(pTask->strName);
      }
    }
  }

  std::vector<WaitingTask> m_vecTasks;
  std::vector<const WaitingTask*> m_vecOdd;  ///< their lists have more than names in brackets
  std::unordered_map<std::string, std::vector<std::string>> m_mapAwaited;     ///< by task: the names in its list
  std::unordered_map<std::string, std::vector<std::string>> m_mapDependants;  ///< by name: the tasks that list it
  NamePatterns m_awaited{NamePatterns::Names()};                              ///< the names in lists
};

/// Adds the names that a step leads to, and those to which it leads from there.
template <typename Step>
void addReached(std::set<std::string>& setNames, const Step& step) {
  std::vector<std::string> vecNames(setNames.begin(), setNames.end());
  for (std::size_t i = 0; i < vecNames.size(); ++i) {
    for (std::string& strNext : step(vecNames[i])) {
      if (setNames.insert(strNext).second) {
        vecNames.push_back(std::move(strNext));
      }
    }
  }
}

}  // namespace

Json::Value listEventRelations(Session& session, const std::string& strEvent) {
  const Snapshot snapshot(session);
  const std::vector<std::string> vecOwn = taskNames(session, strEvent);
  std::set<std::string> setNames(vecOwn.begin(), vecOwn.end());
  const Waiting waiting(waitingTasks(session));
  addReached(setNames, [&](const std::string& strName) { return waiting.dependantsOf(strName); });
  addReached(setNames, [&](const std::string& strName) { return waiting.awaitedBy(strName); });
  const NamePatterns patterns(setNames);
  std::set<std::string> setAll = setNames;
  for (std::string& strOther : taskNames(session)) {
    if (!patterns.namesLike(strOther).empty()) {
      setAll.insert(std::move(strOther));
    }
  }
  return listRelations(session, setAll);
}

}  // namespace Host
