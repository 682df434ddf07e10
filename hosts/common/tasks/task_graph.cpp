#include "task_graph.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <set>

#include "common/text/json_members.h"
#include "common/text/name_rules.h"
#include "dependency_list.h"
#include "name_match.h"

namespace Host {

namespace {

/// Store queries that one walk may cost. A graph of a few hundred tasks in layers stays far below it.
constexpr unsigned MAX_QUERIES = 10000;

}  // namespace

/// The cost of a walk from each task, in queries; 0 while it is being added up.
struct TaskGraph::Walk {
  std::map<std::string, unsigned> mapCost;
  std::vector<std::string> vecPath;
  std::vector<Endless> vecProblems;
};

TaskGraph::TaskGraph(const Json::Value& jTasks) {
  for (const Json::Value& jTask : jTasks) {
    GraphTask task;
    task.strName = textOf(jTask, "task_name");
    task.strEvent = textOf(jTask, "event");
    task.blEnabled = boolOf(jTask, "enable", true);
    task.iOwner = intOf(jTask, "owner", -1);
    task.strOwner = textOf(jTask, "owner_name");
    task.strDepend = textOf(jTask, "depend_on_task");
    task.vecWaitsFor = readDependencyList(task.strDepend);
    task.blRoot = memberOf(jTask, "depend_on_task").isString() && task.strDepend.empty();
    m_mapTasks.emplace(task.strName, std::move(task));
  }
  for (const auto& [strName, task] : m_mapTasks) {
    for (const std::string& strAwaited : std::set<std::string>(task.vecWaitsFor.begin(), task.vecWaitsFor.end())) {
      m_mapDependants[strAwaited].push_back(strName);
    }
  }
}

const GraphTask* TaskGraph::find(const std::string& strName) const& {
  const auto it = m_mapTasks.find(strName);
  return it == m_mapTasks.end() ? nullptr : &it->second;
}

std::vector<const GraphTask*> TaskGraph::tasksOf(const std::string& strEvent) const& {
  std::vector<const GraphTask*> vecTasks;
  for (const auto& [strName, task] : m_mapTasks) {
    if (task.strEvent == strEvent) {
      vecTasks.push_back(&task);
    }
  }
  return vecTasks;
}

std::vector<const GraphTask*> TaskGraph::dependantsOf(const std::string& strName) const& {
  std::vector<const GraphTask*> vecTasks;
  if (const auto it = m_mapDependants.find(strName); it != m_mapDependants.end()) {
    for (const std::string& strOther : it->second) {
      vecTasks.push_back(find(strOther));
    }
  }
  return vecTasks;
}

std::vector<std::string> TaskGraph::withReachedBy(std::vector<std::string> vecNames) const {
  std::set<std::string> setSeen(vecNames.begin(), vecNames.end());
  for (std::size_t i = 0; i < vecNames.size(); ++i) {
    const GraphTask* pTask = find(vecNames[i]);
    if (pTask == nullptr || pTask->strDepend.empty()) {
      continue;
    }
    std::vector<std::string> vecNext = pTask->vecWaitsFor;
    // A pattern can also match across the brackets of two names.
    for (const auto& [strOther, task] : m_mapTasks) {
      if (matches(dependantPattern(strOther), pTask->strDepend)) {
        vecNext.push_back(strOther);
      }
    }
    for (const std::string& strNext : vecNext) {
      if (setSeen.insert(strNext).second) {
        vecNames.push_back(strNext);
      }
    }
  }
  return vecNames;
}

std::optional<OwnerProblem> TaskGraph::ownerProblem(const GraphTask& task) const {
  return m_owners.problemOf(task.iOwner, task.strOwner);
}

std::vector<const GraphTask*> TaskGraph::planOf(const std::string& strEvent) const& {
  std::vector<const GraphTask*> vecPlan;
  std::set<std::string> setPlanned;
  for (const GraphTask* pTask : tasksOf(strEvent)) {
    if (pTask->blRoot && canStart(*pTask)) {
      vecPlan.push_back(pTask);
      setPlanned.insert(pTask->strName);
    }
  }
  // The library also starts dependants of other events.
  for (std::size_t i = 0; i < vecPlan.size(); ++i) {
    for (const GraphTask* pTask : dependantsOf(vecPlan[i]->strName)) {
      const bool blReady = std::all_of(pTask->vecWaitsFor.begin(), pTask->vecWaitsFor.end(),
                                       [&](const std::string& strAwaited) { return setPlanned.count(strAwaited) > 0; });
      if (blReady && canStart(*pTask) && setPlanned.insert(pTask->strName).second) {
        vecPlan.push_back(pTask);
      }
    }
  }
  return vecPlan;
}

const std::vector<std::string>& TaskGraph::matchesOf(const std::string& strName) const {
  const auto [it, blNew] = m_mapMatches.try_emplace(strName);
  std::vector<std::string>& vecNames = it->second;
  if (!blNew) {
    return vecNames;
  }
  const std::string strPattern = dependantPattern(strName);
  for (const auto& [strOther, task] : m_mapTasks) {
    if (!task.strDepend.empty() && matches(strPattern, task.strDepend)) {
      vecNames.push_back(strOther);
    }
  }
  return vecNames;
}

void TaskGraph::walkDown(const std::string& strName, Walk& walk) const {
  walk.mapCost[strName] = 0;
  walk.vecPath.push_back(strName);
  unsigned cQueries = 1;
  for (const std::string& strNext : matchesOf(strName)) {
    const auto it = walk.mapCost.find(strNext);
    if (it == walk.mapCost.end()) {
      walkDown(strNext, walk);
    } else if (it->second == 0) {
      std::vector<std::string> vecCircle(std::find(walk.vecPath.begin(), walk.vecPath.end(), strNext),
                                         walk.vecPath.end());
      // The same text wherever the walk entered the circle.
      std::rotate(vecCircle.begin(), std::min_element(vecCircle.begin(), vecCircle.end()), vecCircle.end());
      walk.vecProblems.push_back({fmt::format("the tasks wait for each other in a circle: {} -> {}",
                                              fmt::join(vecCircle, " -> "), vecCircle.front()),
                                  vecCircle.front(), vecCircle.back()});
    }
    cQueries = std::min(cQueries + walk.mapCost[strNext], MAX_QUERIES + 1);
  }
  walk.vecPath.pop_back();
  walk.mapCost[strName] = cQueries;
  if (cQueries > MAX_QUERIES) {
    walk.vecProblems.push_back(
        {fmt::format("too many paths through the tasks that wait for \"{}\": an execution would query the store more "
                     "than {} times",
                     strName, MAX_QUERIES),
         strName, ""});
  }
}

void TaskGraph::walkUp(const std::string& strName, Walk& walk) const {
  // walkDown() finds the circles.
  walk.mapCost[strName] = 1;
  unsigned cQueries = 1;
  const GraphTask* pTask = find(strName);
  for (const std::string& strAwaited : pTask != nullptr ? pTask->vecWaitsFor : std::vector<std::string>()) {
    if (walk.mapCost.count(strAwaited) == 0) {
      walkUp(strAwaited, walk);
    }
    cQueries = std::min(cQueries + walk.mapCost[strAwaited], MAX_QUERIES + 1);
  }
  walk.mapCost[strName] = cQueries;
  if (cQueries > MAX_QUERIES) {
    walk.vecProblems.push_back(
        {fmt::format("too many paths through the tasks that \"{}\" waits for: an execution would query the store more "
                     "than {} times",
                     strName, MAX_QUERIES),
         strName, ""});
  }
}

std::vector<std::string> TaskGraph::whyEndless(const std::vector<std::string>& vecNames) const {
  std::vector<std::string> vecReasons;
  for (Endless& endless : endlessWalks(vecNames)) {
    vecReasons.push_back(std::move(endless.strText));
  }
  return vecReasons;
}

std::vector<TaskGraph::Endless> TaskGraph::endlessWalks(const std::vector<std::string>& vecNames) const {
  Walk down;
  Walk up;
  for (const std::string& strName : vecNames) {
    if (down.mapCost.count(strName) == 0) {
      walkDown(strName, down);
    }
    if (up.mapCost.count(strName) == 0) {
      walkUp(strName, up);
    }
  }
  std::vector<Endless> vecProblems = std::move(down.vecProblems);
  vecProblems.insert(vecProblems.end(), up.vecProblems.begin(), up.vecProblems.end());
  // In a heavy graph every task further up would be reported, too.
  const std::size_t cShown = 3;
  vecProblems.resize(std::min(vecProblems.size(), cShown));
  return vecProblems;
}

/// The names that could match a name, or be matched by it. All others need no comparison: without a pattern, only the
/// letter case can differ.
std::vector<std::string> TaskGraph::namesLike(const std::string& strName) const {
  if (m_mapFolded.empty()) {
    for (const auto& [strOther, task] : m_mapTasks) {
      m_mapFolded[folded(strOther)].push_back(strOther);
      if (isPattern(strOther)) {
        m_vecPatterns.push_back(strOther);
      }
    }
  }
  std::set<std::string> setNames(m_vecPatterns.begin(), m_vecPatterns.end());
  if (isPattern(strName)) {
    for (const auto& [strOther, task] : m_mapTasks) {
      setNames.insert(strOther);
    }
  } else if (const auto it = m_mapFolded.find(folded(strName)); it != m_mapFolded.end()) {
    setNames.insert(it->second.begin(), it->second.end());
  }
  return {setNames.begin(), setNames.end()};
}

std::vector<std::string> TaskGraph::whyConfused(const std::string& strName, const std::string& strBesides) const {
  std::vector<std::string> vecReasons;
  for (const std::string& strOther : namesLike(strName)) {
    if (strOther == strName || strOther == strBesides) {
      continue;
    }
    if (matches(strName, strOther) && matches(strOther, strName)) {
      vecReasons.push_back(fmt::format("is the same as \"{}\", apart from upper and lower case or \"_\"", strOther));
    } else if (matches(strName, strOther)) {
      vecReasons.push_back(
          fmt::format("also matches the task \"{}\": the library reads \"_\" as any character", strOther));
    } else if (matches(strOther, strName)) {
      vecReasons.push_back(
          fmt::format("is also matched by the task \"{}\": the library reads \"_\" as any character", strOther));
    }
  }
  return vecReasons;
}

std::vector<std::string> TaskGraph::whyUnsafe(const std::vector<const GraphTask*>& vecTasks) const {
  std::vector<std::string> vecNames;
  std::vector<std::string> vecReasons;
  for (const GraphTask* pTask : vecTasks) {
    vecNames.push_back(pTask->strName);
    // Other programs may have stored names that are dangerous in paths and shell commands.
    if (const std::string strWhy = whyNotTaskName(pTask->strName); !strWhy.empty()) {
      vecReasons.push_back(fmt::format("the name \"{}\" {}", pTask->strName, strWhy));
    }
    for (const std::string& strWhy : whyConfused(pTask->strName)) {
      vecReasons.push_back(fmt::format("the name \"{}\" {}", pTask->strName, strWhy));
    }
  }
  for (std::string& strWhy : whyEndless(vecNames)) {
    vecReasons.push_back(std::move(strWhy));
  }
  return vecReasons;
}

}  // namespace Host
