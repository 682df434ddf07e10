#include "reason.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

#include "common/text/command_text.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

bool waitsFor(const TaskGraph& graph, const std::string& strTask, const std::string& strNeed,
              std::set<std::string>& setSeen) {
  const GraphTask* pTask = setSeen.insert(strTask).second ? graph.find(strTask) : nullptr;
  return pTask != nullptr &&
         std::any_of(pTask->vecNeeds.begin(), pTask->vecNeeds.end(), [&](const std::string& strNext) {
           return strNext == strNeed || waitsFor(graph, strNext, strNeed, setSeen);
         });
}

/// What differs between now and then.
struct Words {
  const char* szIs;
  const char* szHas;
  const char* szWaits;
  const char* szBelongs;
};

const Words& wordsOf(Tense tense) {
  static constexpr Words NOW = {"is", "has", "waits for", "belongs"};
  static constexpr Words THEN = {"was", "had", "waited for", "belonged"};
  return tense == Tense::NOW ? NOW : THEN;
}

}  // namespace

Reason Reasons::needReason(const GraphTask& task, const std::string& strNeed) const {
  const Words& words = wordsOf(m_tense);
  const std::string strWaits = fmt::format("{} \"{}\"", words.szWaits, strNeed);
  const GraphTask* pNeed = m_graph.find(strNeed);
  if (pNeed == nullptr) {
    return {"missing", fmt::format("{}, and there {} no such task", strWaits, words.szIs), dropNeed(task, strNeed),
            strNeed};
  }
  std::set<std::string> setSeen;
  if (waitsFor(m_graph, strNeed, task.strName, setSeen)) {
    return {"circle", fmt::format("{}, which {} it in turn", strWaits, words.szWaits), dropNeed(task, strNeed),
            strNeed};
  }
  if (pNeed->strEvent != task.strEvent) {
    return {"other_event", fmt::format("{}, which {} to the event \"{}\"", strWaits, words.szBelongs, pNeed->strEvent),
            eorvaCommand("task edit", {strNeed}, optionText("--event", task.strEvent)), strNeed};
  }
  if (!pNeed->blEnabled) {
    return {"need_disabled", fmt::format("{}, which {} disabled", strWaits, words.szIs),
            eorvaCommand("task enable", {strNeed}), strNeed};
  }
  return {"need_blocked", fmt::format("{}, which {} not started", strWaits, words.szIs),
          eorvaCommand("explain", {strNeed}), strNeed};
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

std::string dropNeed(const GraphTask& task, const std::string& strNeed) {
  std::vector<std::string> vecNeeds = task.vecNeeds;
  vecNeeds.erase(std::remove(vecNeeds.begin(), vecNeeds.end(), strNeed), vecNeeds.end());
  return needsCommand(task.strName, vecNeeds);
}

std::vector<Reason> Reasons::of(const GraphTask& task) {
  std::vector<Reason> vecReasons;
  const std::set<std::string>& setPlanned = plannedOf(task.strEvent);
  if (setPlanned.count(task.strName) > 0) {
    return vecReasons;
  }
  const Words& words = wordsOf(m_tense);
  if (!task.blEnabled) {
    vecReasons.push_back(
        {"disabled", fmt::format("{} disabled", words.szIs), eorvaCommand("task enable", {task.strName}), ""});
  }
  if (!task.blRoot && task.vecNeeds.empty()) {
    vecReasons.push_back(
        {"malformed",
         fmt::format("{} a list of tasks to wait for that names none, \"{}\"", words.szHas, task.strDepend),
         needsCommand(task.strName, {}), ""});
  }
  for (const std::string& strNeed : task.vecNeeds) {
    if (setPlanned.count(strNeed) == 0) {
      vecReasons.push_back(needReason(task, strNeed));
    }
  }
  return vecReasons;
}

Json::Value reasonForPrograms(const Reason& reason) {
  Json::Value jReason(Json::objectValue);
  jReason["code"] = reason.strCode;
  jReason["text"] = reason.strText;
  jReason["advice"] = reason.strAdvice;
  jReason["other_task"] = reason.strOther.empty() ? Json::Value() : Json::Value(reason.strOther);
  return jReason;
}

Reason reasonFromJson(const Json::Value& jReason) {
  return {textOf(jReason, "code"), textOf(jReason, "text"), textOf(jReason, "advice"), textOf(jReason, "other_task")};
}

}  // namespace Host
