/// \file reason.h
/// What keeps a task from being started.

#pragma once

#include <json/value.h>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "common/tasks/task_graph.h"

namespace Host {

struct Reason {
  std::string strCode;    ///< a word for programs, stable
  std::string strText;    ///< goes on after the name of the task: "is disabled"
  std::string strAdvice;  ///< what to type; may be empty
  std::string strOther;   ///< the task that it is about, when that is another one
};

/// Whether it stands in the way, or stood there when the event was fired.
enum class Tense { NOW, THEN };

/// Says why tasks are not started when their event is fired, as far as the tasks themselves tell.
///
/// What an event starts is worked out once, for all of its tasks.
class Reasons {
public:
  /// \param graph  borrowed.
  explicit Reasons(const TaskGraph& graph, Tense tense = Tense::NOW) : m_graph(graph), m_tense(tense) {}

  /// The codes: "disabled"; "malformed", a list that names nobody; "missing", "circle", "other_event", "need_disabled"
  /// and "need_blocked", about a task that it waits for.
  /// \return empty when the task is started.
  std::vector<Reason> of(const GraphTask& task);

private:
  const std::set<std::string>& plannedOf(const std::string& strEvent);
  Reason needReason(const GraphTask& task, const std::string& strNeed) const;

  const TaskGraph& m_graph;
  const Tense m_tense;
  std::map<std::string, std::set<std::string>> m_mapPlanned;  ///< by event
};

/// The command that takes one task off the list of another one.
std::string dropNeed(const GraphTask& task, const std::string& strNeed);

/// For programs.
Json::Value reasonForPrograms(const Reason& reason);

/// From that form.
Reason reasonFromJson(const Json::Value& jReason);

}  // namespace Host
