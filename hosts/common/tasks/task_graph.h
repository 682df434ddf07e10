/// \file task_graph.h
/// Which task waits for which, as the library sees it.
///
/// The library finds the tasks that wait for NAME with the pattern '%[NAME]%', in which "_" stands for any
/// character and ASCII letters match without regard to case. It continues from each task as often as it meets it. So a
/// graph that looks harmless can keep an execution or a rename busy for ever.

#pragma once

#include <json/value.h>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "task_owner.h"

namespace Host {

class NamePatterns;

struct GraphTask {
  std::string strName;
  std::string strEvent;
  bool blEnabled = true;
  Json::Int64 iOwner = -1;
  std::string strOwner;                  ///< the owner's name as it is stored
  std::vector<std::string> vecWaitsFor;  ///< as its record lists them
  std::size_t cAwaited = 0;              ///< how many different names that are
  std::string strDepend;                 ///< the list as it is stored
  bool blRoot = false;                   ///< the list is the empty text
  bool blOnlyAfterSuccess = false;       ///< it starts only when all these tasks have succeeded
};

/// Results point into the graph, so a temporary graph gives none.
class TaskGraph {
public:
  /// \param jTasks  array of stored task records.
  explicit TaskGraph(const Json::Value& jTasks);

  /// Gives a task; null when there is none.
  const GraphTask* find(const std::string& strName) const&;
  const GraphTask* find(const std::string&) const&& = delete;

  /// The tasks of an event, by name.
  std::vector<const GraphTask*> tasksOf(const std::string& strEvent) const&;
  std::vector<const GraphTask*> tasksOf(const std::string&) const&& = delete;

  /// The tasks that list NAME exactly, by name.
  std::vector<const GraphTask*> dependantsOf(const std::string& strName) const&;
  std::vector<const GraphTask*> dependantsOf(const std::string&) const&& = delete;

  /// Tasks, and all tasks from which a walk leads through them; also names without a task.
  std::vector<std::string> withReachedBy(std::vector<std::string> vecNames) const;

  /// Why a task cannot run as its owner.
  std::optional<OwnerProblem> ownerProblem(const GraphTask& task) const;

  /// The tasks that an event starts: enabled roots, then their dependants, each after all tasks that it waits for. All
  /// of them have an owner to run as.
  std::vector<const GraphTask*> planOf(const std::string& strEvent) const&;
  std::vector<const GraphTask*> planOf(const std::string&) const&& = delete;

  /// Tells whether a walk from any task would not end in reasonable time. Cheap when it is asked again.
  bool hasEndlessWalk() const;

  /// Says why a walk from one of these tasks, in either direction, would not end in reasonable time.
  /// \return a sentence for each problem; empty when there is none.
  std::vector<std::string> whyEndless(const std::vector<std::string>& vecNames) const;

  /// A walk that would not end in reasonable time.
  struct Endless {
    std::string strText;
    std::string strTask;     ///< a task on the way; in a circle one that waits for the next
    std::string strAwaited;  ///< the task that it waits for in a circle; empty for none
  };

  /// Like whyEndless(), with the tasks of each problem.
  std::vector<Endless> endlessWalks(const std::vector<std::string>& vecNames) const;

  /// The tasks that wait for themselves through others, and those on a way from one circle to another.
  std::set<std::string> tasksBetweenCircles() const;

  /// Tells which other tasks the library could take for this one.
  /// \param strBesides  a task that is not compared.
  /// \return a sentence for each task.
  std::vector<std::string> whyConfused(const std::string& strName, const std::string& strBesides = "") const;

  /// Tells why an execution of these tasks is refused: dangerous or ambiguous names, and walks that do not end.
  std::vector<std::string> whyUnsafe(const std::vector<const GraphTask*>& vecTasks) const;

private:
  struct Matches;
  struct Stop;
  struct Walk;

  const Matches& patternMatches() const;
  const std::vector<std::string>& nextOf(const std::string& strName, const Walk& walk) const;
  void walkFrom(const std::string& strName, Walk& walk) const;
  static void noteCircle(const std::vector<Stop>& vecPath, const std::string& strEntry, Walk& walk);
  static void noteCost(const Stop& stop, Walk& walk);
  bool canStart(const GraphTask& task) const { return task.blEnabled && !ownerProblem(task); }

  std::map<std::string, GraphTask> m_mapTasks;
  mutable OwnerCheck m_owners;
  std::map<std::string, std::vector<std::string>> m_mapEvents;      ///< by event: its tasks, by name
  std::map<std::string, std::vector<std::string>> m_mapDependants;  ///< by name: its dependants, by name
  mutable std::shared_ptr<Matches> m_pMatches;                      ///< made when it is first needed; here and below
  mutable std::shared_ptr<NamePatterns> m_pPatterns;                ///< the names of all tasks
  mutable std::optional<bool> m_blEndless;                          ///< result of hasEndlessWalk()
};

}  // namespace Host
