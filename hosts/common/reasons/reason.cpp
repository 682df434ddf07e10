#include "reason.h"

#include <algorithm>

#include "common/tasks/task_graph.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

/// Tells whether a task waits for another one, directly or through others.
bool waitsFor(const TaskGraph& graph, const std::string& strTask, const std::string& strAwaited) {
  std::set<std::string> setSeen = {strTask};
  for (std::vector<std::string> vecNames = {strTask}; !vecNames.empty();) {
    const GraphTask* const pTask = graph.find(vecNames.back());
    vecNames.pop_back();
    for (const std::string& strNext : pTask != nullptr ? pTask->vecWaitsFor : std::vector<std::string>()) {
      if (strNext == strAwaited) {
        return true;
      }
      if (setSeen.insert(strNext).second) {
        vecNames.push_back(strNext);
      }
    }
  }
  return false;
}

}  // namespace

Reason Reasons::reason(const char* szCode, const std::string& strOther, Json::Value jDetails) const {
  if (m_tense == Tense::THEN) {
    jDetails["then"] = true;
  }
  return {szCode, strOther, std::move(jDetails)};
}

Reason Reasons::awaitedReason(const GraphTask& task, const std::string& strAwaited) {
  const GraphTask* pAwaited = m_graph.find(strAwaited);
  const Json::Value jRest = objectOf({{"needs", arrayOf(awaitedWithout(task, strAwaited))}});
  if (pAwaited == nullptr) {
    return reason("missing", strAwaited, jRest);
  }
  // Most graphs have no circle, so the walk is seldom needed.
  if (mayBeInCircle(task.strName) && waitsFor(m_graph, strAwaited, task.strName)) {
    return reason("circle", strAwaited, jRest);
  }
  if (pAwaited->strEvent != task.strEvent) {
    return reason("other_event", strAwaited, objectOf({{"event", task.strEvent}, {"other_event", pAwaited->strEvent}}));
  }
  return reason(pAwaited->blEnabled ? "need_blocked" : "need_disabled", strAwaited, Json::objectValue);
}

bool Reasons::mayBeInCircle(const std::string& strTask) {
  if (!m_setInCircles) {
    m_setInCircles = m_graph.tasksBetweenCircles();
  }
  return m_setInCircles->count(strTask) > 0;
}

const std::set<std::string>& Reasons::plannedOf(const std::string& strEvent) {
  const auto [it, blNew] = m_mapPlanned.try_emplace(strEvent);
  if (blNew) {
    for (const GraphTask* pTask : m_graph.planOf(strEvent)) {
      it->second.insert(pTask->strName);
    }
  }
  return it->second;
}

std::vector<Reason> Reasons::of(const GraphTask& task) {
  std::vector<Reason> vecReasons;
  const std::set<std::string>& setPlanned = plannedOf(task.strEvent);
  if (setPlanned.count(task.strName) > 0) {
    return vecReasons;
  }
  if (!task.blEnabled) {
    vecReasons.push_back(reason("disabled", "", Json::objectValue));
  }
  if (const std::optional<OwnerProblem> problem = m_graph.ownerProblem(task)) {
    vecReasons.push_back(reason("no_owner", "", objectOf({{"problem", problem->strText}, {"user", problem->strUser}})));
  }
  if (!task.blRoot && task.vecWaitsFor.empty()) {
    vecReasons.push_back(reason("malformed", "", objectOf({{"list", task.strDepend}})));
  }
  for (const std::string& strAwaited : task.vecWaitsFor) {
    if (setPlanned.count(strAwaited) == 0) {
      vecReasons.push_back(awaitedReason(task, strAwaited));
    }
  }
  return vecReasons;
}

std::vector<std::string> awaitedWithout(const GraphTask& task, const std::string& strAwaited) {
  std::vector<std::string> vecWaitsFor = task.vecWaitsFor;
  vecWaitsFor.erase(std::remove(vecWaitsFor.begin(), vecWaitsFor.end(), strAwaited), vecWaitsFor.end());
  return vecWaitsFor;
}

Json::Value recordOf(const Reason& reason) {
  Json::Value jRecord = reason.jDetails;
  jRecord["code"] = reason.strCode;
  jRecord["other_task"] = reason.strOther.empty() ? Json::Value() : Json::Value(reason.strOther);
  return jRecord;
}

Reason reasonOf(const Json::Value& jRecord) {
  return {textOf(jRecord, "code"), textOf(jRecord, "other_task"),
          jRecord.isObject() ? jRecord : Json::Value(Json::objectValue)};
}

}  // namespace Host
