#include "explanation.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <set>

#include "common/runs/run_query.h"
#include "common/store/records.h"
#include "common/tasks/event_relations.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"
#include "event_plan.h"
#include "firing.h"

namespace Host {

namespace {

/// The runs of the last time that the event started any.
std::vector<Json::Value> lastRuns(Session& session, const std::string& strEvent) {
  const std::string strOfEvent = "trigger_event = " + sqlText(strEvent);
  const Json::Value jRuns = listRuns(session, fmt::format("{} and event_fire_time = {}", strOfEvent,
                                                          sqlLatest("event_fire_time", "task_result", strOfEvent)));
  return {jRuns.begin(), jRuns.end()};
}

/// The record of the last firing; nothing when a later firing could not be recorded.
std::optional<LastFiring> rememberedFiring(Session& session, const std::string& strEvent,
                                           const std::vector<Json::Value>& vecRuns) {
  std::optional<LastFiring> last = lastFiring(session, strEvent);
  if (!last || vecRuns.empty() || last->facts.state != ExecutionFacts::State::OVER) {
    return last;
  }
  const Json::Int64 iEventFireTime = timeOf(vecRuns.front(), "event_fire_time");
  const bool blNewer = iEventFireTime > std::max(last->firing.iBegunAt, trueTime(last->firing.iEventFireTime)) &&
                       intOf(vecRuns.front(), "result_id") > last->firing.iLastRun;
  return blNewer ? std::nullopt : std::move(last);
}

void takeFacts(const ExecutionFacts& facts, Explanation& explanation) {
  explanation.iFiredAt = facts.iFiredAt;
  explanation.jRun = runOf(facts.vecRuns, textOf(explanation.jTask, "task_name"));
  explanation.vecWaitsFor = awaitedTasks(facts.vecRuns, explanation.jTask);
  explanation.verdict = !explanation.jRun.isObject()  ? Explanation::Verdict::NOT_STARTED
                        : isRunning(explanation.jRun) ? Explanation::Verdict::RUNNING
                                                      : Explanation::Verdict::RAN;
}

/// A reason that no longer holds needs no action.
void settleOldReasons(const std::vector<Reason>& vecNow, std::vector<Reason>& vecReasons) {
  static const std::set<std::string> OF_TASKS = {"disabled", "no_owner",    "malformed",     "missing",
                                                 "circle",   "other_event", "need_disabled", "need_blocked"};
  for (Reason& reason : vecReasons) {
    const bool blHolds = std::any_of(vecNow.begin(), vecNow.end(), [&](const Reason& now) {
      return now.strCode == reason.strCode && now.strOther == reason.strOther;
    });
    if (!blHolds && OF_TASKS.count(reason.strCode) > 0) {
      reason.blNeedsAction = false;
    }
  }
}

std::vector<Reason> rememberedReasons(Session& session, const LastFiring& last, Explanation& explanation) {
  const auto itReasons = last.mapReasons.find(textOf(explanation.jTask, "task_name"));
  if (itReasons == last.mapReasons.end()) {
    return {{"not_there", "", objectOf({{"event", last.firing.strEvent}})}};
  }
  if (!itReasons->second.empty()) {
    return itReasons->second;
  }
  if (!last.firing.strProblem.empty()) {
    return {{"not_fired", "", objectOf({{"problem", last.firing.strProblem}})}};
  }
  if (last.facts.state == ExecutionFacts::State::OVER) {
    return {{"unknown", "", objectOf({{"cause", "run_deleted"}})}};
  }
  explanation.blRemembered = last.facts.state == ExecutionFacts::State::UNDER_WAY;
  return whyNotStarted(session, last.facts, explanation.jTask, explanation.vecReasonsNow);
}

/// The tasks that matter for an event, as a plan needs them.
Json::Value tasksAround(Session& session, const std::string& strEvent) {
  std::set<std::string> setTasks;
  for (const Json::Value& jTask : listEventRelations(session, strEvent)) {
    setTasks.insert(textOf(jTask, "task_name"));
  }
  return listTaskMembers(session, PLAN_MEMBERS, whereTasks(setTasks));
}

}  // namespace

Explanation explainTask(Session& session, const std::string& strTask) {
  Explanation explanation;
  explanation.jTask = requireTask(session, strTask);
  const std::string strEvent = textOf(explanation.jTask, "event");
  explanation.vecReasonsNow = presentReasons(session, tasksAround(session, strEvent), strTask);
  explanation.tries = nextTries();
  explanation.jNewest = newestRunOf(session, strTask);
  const std::vector<Json::Value> vecRuns = lastRuns(session, strEvent);
  if (const std::optional<LastFiring> last = rememberedFiring(session, strEvent, vecRuns)) {
    explanation.blRemembered = true;
    takeFacts(last->facts, explanation);
    if (explanation.verdict == Explanation::Verdict::NOT_STARTED) {
      explanation.vecReasons = rememberedReasons(session, *last, explanation);
      settleOldReasons(explanation.vecReasonsNow, explanation.vecReasons);
    }
  } else if (!vecRuns.empty()) {
    ExecutionFacts facts;
    facts.iFiredAt = intOf(vecRuns.front(), "event_fire_time");
    facts.vecRuns = vecRuns;
    takeFacts(facts, explanation);
    if (explanation.verdict == Explanation::Verdict::NOT_STARTED) {
      explanation.vecReasons = whyNotStarted(session, facts, explanation.jTask, explanation.vecReasonsNow);
    }
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
