/// \file reason.h
/// Why a task is, or was, not started.

#pragma once

#include <json/value.h>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace Host {

class TaskGraph;
struct GraphTask;

/// Facts only: answers/reason_text puts them into words.
struct Reason {
  std::string strCode;        ///< stable
  std::string strOther;       ///< the task that it is about, when that is another one
  Json::Value jDetails;       ///< object: more facts for the words
  bool blNeedsAction = true;  ///< false: there is nothing to do about it any more
};

/// The time that a reason is about: the present, or the moment when the event was fired.
enum class Tense { NOW, THEN };

/// Finds out why tasks are not started when their event is fired, from the task records alone.
///
/// The plan of an event is made once, for all of its tasks.
class Reasons {
public:
  /// \param graph  borrowed.
  explicit Reasons(const TaskGraph& graph, Tense tense = Tense::NOW) : m_graph(graph), m_tense(tense) {}

  /// Gives the reasons of a task; none when it is started. The codes: "disabled"; "no_owner" when it cannot run as its
  /// owner; "malformed" for an unreadable list of dependencies; "missing", "circle", "other_event", "need_disabled" and
  /// "need_blocked" for a task that it waits for.
  std::vector<Reason> of(const GraphTask& task);

private:
  const std::set<std::string>& plannedOf(const std::string& strEvent);
  bool mayBeInCircle(const std::string& strTask);
  Reason awaitedReason(const GraphTask& task, const std::string& strAwaited);
  Reason reason(const char* szCode, const std::string& strOther, Json::Value jDetails) const;

  const TaskGraph& m_graph;
  const Tense m_tense;
  std::map<std::string, std::set<std::string>> m_mapPlanned;  ///< by event
  std::optional<std::set<std::string>> m_setInCircles;        ///< and the tasks between circles
};

/// The tasks that a task waits for, without one of them.
std::vector<std::string> awaitedWithout(const GraphTask& task, const std::string& strAwaited);

/// The form in which reasons are stored.
Json::Value recordOf(const Reason& reason);

/// Reads that form. Records of older versions hold the words themselves.
Reason reasonOf(const Json::Value& jRecord);

}  // namespace Host
