#include "task_graph.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <set>

#include "common/text/json_members.h"
#include "common/text/name_rules.h"
#include "dependency_list.h"
#include "name_match.h"
#include "name_patterns.h"

namespace Host {

namespace {

/// Store queries that one walk may cost. A graph of a few hundred tasks in layers stays far below it.
constexpr unsigned MAX_QUERIES = 10000;

using Names = std::vector<std::string>;

/// The member of a map; nothing when it has none.
const Names& namesAt(const std::map<std::string, Names>& mapNames, const std::string& strName) {
  static const Names NONE;
  const auto it = mapNames.find(strName);
  return it != mapNames.end() ? it->second : NONE;
}

}  // namespace

/// The names that the patterns of the library match.
struct TaskGraph::Matches {
  std::map<std::string, Names> mapDependants;  ///< by name: the tasks that are found with it
  std::map<std::string, Names> mapAwaited;     ///< by task: the names with which it is found
};

/// A walk in one direction, and what it found.
struct TaskGraph::Walk {
  bool blDown = true;                       ///< to the tasks that wait for a task; false: to those that it waits for
  std::map<std::string, unsigned> mapCost;  ///< of a walk from each task, in queries; 0 while it is being added up
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
    task.blOnlyAfterSuccess = boolOf(jTask, "only_after_success");
    task.blRoot = memberOf(jTask, "depend_on_task").isString() && task.strDepend.empty();
    m_mapTasks.emplace(task.strName, std::move(task));
  }
  for (auto& [strName, task] : m_mapTasks) {
    m_mapEvents[task.strEvent].push_back(strName);
    const std::set<std::string> setAwaited(task.vecWaitsFor.begin(), task.vecWaitsFor.end());
    task.cAwaited = setAwaited.size();
    for (const std::string& strAwaited : setAwaited) {
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
  for (const std::string& strName : namesAt(m_mapEvents, strEvent)) {
    vecTasks.push_back(find(strName));
  }
  return vecTasks;
}

std::vector<const GraphTask*> TaskGraph::dependantsOf(const std::string& strName) const& {
  std::vector<const GraphTask*> vecTasks;
  for (const std::string& strOther : namesAt(m_mapDependants, strName)) {
    vecTasks.push_back(find(strOther));
  }
  return vecTasks;
}

std::vector<std::string> TaskGraph::withReachedBy(std::vector<std::string> vecNames) const {
  std::set<std::string> setSeen(vecNames.begin(), vecNames.end());
  for (std::size_t i = 0; i < vecNames.size(); ++i) {
    for (const std::string& strNext : namesAt(patternMatches().mapAwaited, vecNames[i])) {
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
  std::map<std::string, std::size_t> mapPlanned;  // how many of the tasks that a task waits for
  // The library also starts dependants of other events.
  for (std::size_t i = 0; i < vecPlan.size(); ++i) {
    for (const GraphTask* pTask : dependantsOf(vecPlan[i]->strName)) {
      const bool blReady = ++mapPlanned[pTask->strName] == pTask->cAwaited;
      if (blReady && canStart(*pTask) && setPlanned.insert(pTask->strName).second) {
        vecPlan.push_back(pTask);
      }
    }
  }
  return vecPlan;
}

const TaskGraph::Matches& TaskGraph::patternMatches() const {
  if (m_pMatches != nullptr) {
    return *m_pMatches;
  }
  m_pMatches = std::make_shared<Matches>();
  std::set<std::string> setNames;
  for (const auto& [strName, task] : m_mapTasks) {
    setNames.insert(strName);
    setNames.insert(task.vecWaitsFor.begin(), task.vecWaitsFor.end());
  }
  const NamePatterns patterns(setNames);
  for (const auto& [strTask, task] : m_mapTasks) {
    Names& vecAwaited = m_pMatches->mapAwaited[strTask] = task.vecWaitsFor;
    for (const std::string& strName : patterns.namesIn(task.strDepend)) {
      m_pMatches->mapDependants[strName].push_back(strTask);
      if (find(strName) != nullptr) {
        vecAwaited.push_back(strName);
      }
    }
  }
  return *m_pMatches;
}

const std::vector<std::string>& TaskGraph::nextOf(const std::string& strName, const Walk& walk) const {
  static const Names NONE;
  if (walk.blDown) {
    return namesAt(patternMatches().mapDependants, strName);
  }
  const GraphTask* pTask = find(strName);
  return pTask != nullptr ? pTask->vecWaitsFor : NONE;
}

/// A task on the way of a walk, and how far its next tasks have been walked.
struct TaskGraph::Stop {
  std::string strName;
  const std::vector<std::string>* pNext;
  std::size_t iNext = 0;
  unsigned cQueries = 1;
};

/// Without recursion: a chain may have any length.
void TaskGraph::walkFrom(const std::string& strName, Walk& walk) const {
  // A circle is found on the way down; up, it costs nothing more.
  const unsigned cBegun = walk.blDown ? 0 : 1;
  if (!walk.mapCost.emplace(strName, cBegun).second) {
    return;
  }
  std::vector<Stop> vecPath = {{strName, &nextOf(strName, walk)}};
  while (!vecPath.empty()) {
    Stop& stop = vecPath.back();
    if (stop.iNext == stop.pNext->size()) {
      walk.mapCost[stop.strName] = stop.cQueries;
      noteCost(stop, walk);
      vecPath.pop_back();
      continue;
    }
    const std::string& strNext = (*stop.pNext)[stop.iNext];
    const auto [it, blNew] = walk.mapCost.emplace(strNext, cBegun);
    if (blNew) {
      // Its cost is known when this is reached again.
      vecPath.push_back({strNext, &nextOf(strNext, walk)});
      continue;
    }
    if (it->second == 0) {
      noteCircle(vecPath, strNext, walk);
    }
    stop.cQueries = std::min(stop.cQueries + it->second, MAX_QUERIES + 1);
    ++stop.iNext;
  }
}

void TaskGraph::noteCircle(const std::vector<Stop>& vecPath, const std::string& strEntry, Walk& walk) {
  Names vecCircle;
  const auto itEntry =
      std::find_if(vecPath.begin(), vecPath.end(), [&](const Stop& stop) { return stop.strName == strEntry; });
  std::transform(itEntry, vecPath.end(), std::back_inserter(vecCircle), [](const Stop& stop) { return stop.strName; });
  // The same text wherever the walk entered the circle.
  std::rotate(vecCircle.begin(), std::min_element(vecCircle.begin(), vecCircle.end()), vecCircle.end());
  walk.vecProblems.push_back({fmt::format("the tasks wait for each other in a circle: {} -> {}",
                                          fmt::join(vecCircle, " -> "), vecCircle.front()),
                              vecCircle.front(), vecCircle.back()});
}

void TaskGraph::noteCost(const Stop& stop, Walk& walk) {
  if (stop.cQueries <= MAX_QUERIES) {
    return;
  }
  const std::string strTasks =
      walk.blDown ? fmt::format("wait for \"{}\"", stop.strName) : fmt::format("\"{}\" waits for", stop.strName);
  walk.vecProblems.push_back({fmt::format("too many paths through the tasks that {}: an execution would query the "
                                          "store more than {} times",
                                          strTasks, MAX_QUERIES),
                              stop.strName, ""});
}

std::vector<std::string> TaskGraph::whyEndless(const std::vector<std::string>& vecNames) const {
  std::vector<std::string> vecReasons;
  if (!hasEndlessWalk()) {
    return vecReasons;
  }
  for (Endless& endless : endlessWalks(vecNames)) {
    vecReasons.push_back(std::move(endless.strText));
  }
  return vecReasons;
}

bool TaskGraph::hasEndlessWalk() const {
  if (!m_blEndless) {
    std::vector<std::string> vecAll;
    for (const auto& [strName, task] : m_mapTasks) {
      vecAll.push_back(strName);
      // A walk may begin at a name without a task.
      vecAll.insert(vecAll.end(), task.vecWaitsFor.begin(), task.vecWaitsFor.end());
    }
    m_blEndless = !endlessWalks(vecAll).empty();
  }
  return *m_blEndless;
}

std::vector<TaskGraph::Endless> TaskGraph::endlessWalks(const std::vector<std::string>& vecNames) const {
  Walk down;
  Walk up;
  up.blDown = false;
  for (const std::string& strName : vecNames) {
    walkFrom(strName, down);
    walkFrom(strName, up);
  }
  std::vector<Endless> vecProblems = std::move(down.vecProblems);
  vecProblems.insert(vecProblems.end(), up.vecProblems.begin(), up.vecProblems.end());
  // In a heavy graph every task further up would be reported, too.
  const std::size_t cShown = 3;
  vecProblems.resize(std::min(vecProblems.size(), cShown));
  return vecProblems;
}

namespace {

using Edges = std::map<std::string, std::vector<std::string>>;

/// Removes the tasks without a way to them, and then those that have none left.
void removeEnds(std::set<std::string>& setTasks, const Edges& mapNext) {
  std::map<std::string, std::size_t> mapWays;
  for (const std::string& strTask : setTasks) {
    for (const std::string& strNext : namesAt(mapNext, strTask)) {
      ++mapWays[strNext];
    }
  }
  std::vector<std::string> vecEnds;
  std::copy_if(setTasks.begin(), setTasks.end(), std::back_inserter(vecEnds),
               [&](const std::string& strTask) { return mapWays.count(strTask) == 0; });
  while (!vecEnds.empty()) {
    const std::string strEnd = std::move(vecEnds.back());
    vecEnds.pop_back();
    setTasks.erase(strEnd);
    for (const std::string& strNext : namesAt(mapNext, strEnd)) {
      if (--mapWays[strNext] == 0) {
        vecEnds.push_back(strNext);
      }
    }
  }
}

}  // namespace

std::set<std::string> TaskGraph::tasksBetweenCircles() const {
  std::set<std::string> setTasks;
  Edges mapAwaited;
  for (const auto& [strName, task] : m_mapTasks) {
    setTasks.insert(setTasks.end(), strName);
    for (const std::string& strAwaited : std::set<std::string>(task.vecWaitsFor.begin(), task.vecWaitsFor.end())) {
      mapAwaited[strName].push_back(strAwaited);
    }
  }
  removeEnds(setTasks, m_mapDependants);
  removeEnds(setTasks, mapAwaited);
  return setTasks;
}

std::vector<std::string> TaskGraph::whyConfused(const std::string& strName, const std::string& strBesides) const {
  std::vector<std::string> vecReasons;
  if (m_pPatterns == nullptr) {
    std::set<std::string> setNames;
    for (const auto& [strOther, task] : m_mapTasks) {
      setNames.insert(setNames.end(), strOther);
    }
    m_pPatterns = std::make_shared<NamePatterns>(setNames);
  }
  for (const std::string& strOther : m_pPatterns->namesLike(strName)) {
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
