#include "explanation.h"

#include <algorithm>
#include <fmt/format.h>

#include "depend_text.h"
#include "event_plan.h"
#include "json_read.h"
#include "outcome.h"
#include "reconcile.h"
#include "shell_word.h"
#include "sql_text.h"

namespace Host {

namespace {

/// A task is started a moment after it is due, but within this.
constexpr Json::Int64 START_SECONDS = 3;

/// The runs that the event started when it was last fired.
std::vector<Json::Value> lastExecution(Session& session, const std::string& strEvent) {
  const std::string strTrigger = sqlText(strEvent);
  const Json::Value jRuns =
      listRuns(session, fmt::format("trigger_event = {0} and event_fire_time = (select max(event_fire_time) from "
                                    "task_result where trigger_event = {0})",
                                    strTrigger));
  return {jRuns.begin(), jRuns.end()};
}

Json::Value runOf(const std::vector<Json::Value>& vecRuns, const std::string& strTask) {
  const auto it = std::find_if(vecRuns.begin(), vecRuns.end(),
                               [&](const Json::Value& jRun) { return textOf(jRun, "task_name") == strTask; });
  return it == vecRuns.end() ? Json::Value() : *it;
}

bool isOpen(const Json::Value& jRun) {
  return jRun.isObject() && !jRun.isMember("stop_time");
}

bool isAlive(const Json::Value& jRun) {
  return isOpen(jRun) && isRunAlive(jRun);
}

bool wasInterrupted(const Json::Value& jRun) {
  return textOf(memberOf(jRun, "exit_info"), "exit_type") == EXIT_INTERRUPTED || (isOpen(jRun) && !isAlive(jRun));
}

Obstacle needReason(const NeedState& need) {
  const std::string strExplain = fmt::format("eorva explain {}", shellWord(need.strName));
  const Json::Int64 iRun = intOf(need.jRun, "result_id");
  if (!need.jRun.isObject()) {
    return {"need_not_started", fmt::format("waited for \"{}\", which was not started", need.strName), strExplain,
            need.strName};
  }
  if (isAlive(need.jRun)) {
    return {"need_running", fmt::format("waits for \"{}\", which is still running (run {})", need.strName, iRun),
            fmt::format("eorva runs show {}", iRun), need.strName};
  }
  return {"need_interrupted", fmt::format("waited for \"{}\", which was interrupted (run {})", need.strName, iRun),
          fmt::format("eorva runs show {}", iRun), need.strName};
}

/// When the task was due: at once, or after the last that it waited for.
Json::Int64 dueTime(const Explanation& explanation) {
  Json::Int64 iDue = explanation.iFired;
  for (const NeedState& need : explanation.vecNeeds) {
    iDue = std::max(iDue, intOf(need.jRun, "stop_time"));
  }
  return iDue;
}

/// A run of the task that was alive when another one was due.
Json::Value overlappingRun(Session& session, const Explanation& explanation) {
  if (boolOf(explanation.jTask, "run_the_same_time")) {
    return {};
  }
  const Json::Int64 iDue = dueTime(explanation);
  const Json::Value jRuns =
      listRuns(session,
               fmt::format("task_name = {} and start_time <= {} and (stop_time is null or stop_time >= {})",
                           sqlText(textOf(explanation.jTask, "task_name")), iDue + START_SECONDS, iDue),
               1);
  return jRuns.empty() ? Json::Value() : jRuns[0];
}

/// Why a task that nothing stood in the way of was not started.
Obstacle otherReason(Session& session, const Explanation& explanation, const std::vector<Json::Value>& vecRuns) {
  if (const Json::Value jRun = overlappingRun(session, explanation); jRun.isObject()) {
    const Json::Int64 iRun = intOf(jRun, "result_id");
    return {
        "refused",
        fmt::format("was refused, because run {} of it was alive, and it allows no second one at the same time", iRun),
        fmt::format("eorva runs show {}", iRun), ""};
  }
  const auto it = std::find_if(vecRuns.begin(), vecRuns.end(), wasInterrupted);
  if (it != vecRuns.end()) {
    return {"interrupted",
            fmt::format("was not reached: the execution was cut off, and run {} of \"{}\" with it",
                        intOf(*it, "result_id"), textOf(*it, "task_name")),
            fmt::format("eorva runs show {}", intOf(*it, "result_id")), ""};
  }
  return {"unknown",
          "may have been added, enabled or changed after that, or its run was deleted, or could not be begun",
          "journalctl -t eorva", ""};
}

std::vector<Obstacle> reasonsOf(Session& session, const Explanation& explanation,
                                const std::vector<Json::Value>& vecRuns) {
  // What stands in the way now will have done so then; what a task it waits for did is known better.
  std::vector<Obstacle> vecReasons;
  for (const Obstacle& obstacle : explanation.vecObstacles) {
    if (obstacle.strOther.empty() || obstacle.strCode == "missing" || obstacle.strCode == "other_event" ||
        obstacle.strCode == "circle") {
      if (obstacle.strCode != "running") {
        vecReasons.push_back(obstacle);
      }
    }
  }
  for (const NeedState& need : explanation.vecNeeds) {
    const bool blNamed = std::any_of(vecReasons.begin(), vecReasons.end(),
                                     [&](const Obstacle& reason) { return reason.strOther == need.strName; });
    if (!blNamed && (!need.jRun.isObject() || isOpen(need.jRun) || wasInterrupted(need.jRun))) {
      vecReasons.push_back(needReason(need));
    }
  }
  if (vecReasons.empty()) {
    vecReasons.push_back(otherReason(session, explanation, vecRuns));
  }
  return vecReasons;
}

/// Why the event would not start the task now.
std::vector<Obstacle> presentObstacles(Session& session, const Json::Value& jTasks, const Json::Value& jTask) {
  const EventPlan plan = planEvent(session, jTasks, textOf(jTask, "event"));
  const auto it = std::find_if(plan.vecBlocked.begin(), plan.vecBlocked.end(), [&](const BlockedTask& blocked) {
    return blocked.strName == textOf(jTask, "task_name");
  });
  std::vector<Obstacle> vecObstacles = it == plan.vecBlocked.end() ? std::vector<Obstacle>() : it->vecObstacles;
  for (const std::string& strProblem : plan.vecProblems) {
    vecObstacles.push_back({"unsafe", fmt::format("cannot be run safely: {}", strProblem), "eorva check", ""});
  }
  return vecObstacles;
}

}  // namespace

Explanation explainTask(Session& session, const std::string& strTask) {
  Explanation explanation;
  explanation.jTask = requireTask(session, strTask);
  explanation.vecObstacles = presentObstacles(session, listTasks(session), explanation.jTask);
  const Json::Value jNewest = listRuns(session, fmt::format("task_name = {}", sqlText(strTask)), 1);
  explanation.jNewest = jNewest.empty() ? Json::Value() : jNewest[0];
  const std::vector<Json::Value> vecRuns = lastExecution(session, textOf(explanation.jTask, "event"));
  if (vecRuns.empty()) {
    return explanation;
  }
  explanation.iFired = intOf(vecRuns.front(), "event_fire_time");
  explanation.jRun = runOf(vecRuns, strTask);
  for (const std::string& strNeed : readDependText(textOf(explanation.jTask, "depend_on_task"))) {
    explanation.vecNeeds.push_back({strNeed, runOf(vecRuns, strNeed)});
  }
  if (explanation.jRun.isObject()) {
    explanation.verdict = isAlive(explanation.jRun) ? Explanation::Verdict::RUNNING : Explanation::Verdict::RAN;
  } else {
    explanation.verdict = Explanation::Verdict::NOT_STARTED;
    explanation.vecReasons = reasonsOf(session, explanation, vecRuns);
  }
  return explanation;
}

const char* verdictWord(Explanation::Verdict verdict) {
  switch (verdict) {
    case Explanation::Verdict::RAN:
      return "ran";
    case Explanation::Verdict::RUNNING:
      return "running";
    case Explanation::Verdict::NOT_STARTED:
      return "not_started";
    case Explanation::Verdict::NEVER_FIRED:
      break;
  }
  return "never_fired";
}

}  // namespace Host
