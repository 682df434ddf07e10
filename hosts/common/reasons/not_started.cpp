#include "not_started.h"

#include <algorithm>
#include <fmt/format.h>

#include "common/runs/next_try.h"
#include "common/runs/outcome.h"
#include "common/runs/run_identity.h"
#include "common/runs/running_list.h"
#include "common/store/records.h"
#include "common/tasks/dependency_list.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"

namespace Host {

namespace {

using State = ExecutionFacts::State;

/// How long after it is due a task may be started.
constexpr Json::Int64 START_SECONDS = 3;

bool isOpen(const Json::Value& jRun) {
  return jRun.isObject() && !jRun.isMember("stop_time");
}

bool goesOn(const ExecutionFacts& facts, const Json::Value& jRun) {
  return facts.state != State::OVER && isRunning(jRun);
}

bool wasInterrupted(const ExecutionFacts& facts, const Json::Value& jRun) {
  return isInterrupted(jRun) || (isOpen(jRun) && !goesOn(facts, jRun));
}

/// Tells whether the task was to start only after a success of the other one, which failed.
bool neededSuccess(const Json::Value& jTask, const AwaitedTask& awaited) {
  return boolOf(jTask, "only_after_success") && awaited.jRun.isObject() &&
         outcomeOf(awaited.jRun).kind == Outcome::Kind::FAILED;
}

Reason awaitedReason(const ExecutionFacts& facts, const AwaitedTask& awaited) {
  if (!awaited.jRun.isObject()) {
    return {"need_not_started", awaited.strName, Json::objectValue};
  }
  return {goesOn(facts, awaited.jRun) ? "need_running" : "need_interrupted", awaited.strName,
          objectOf({{"run", awaited.jRun["result_id"]}})};
}

/// A run of the task that was running when the next one was due: at once, or after its last dependency.
Json::Int64 runInTheWay(Session& session, const ExecutionFacts& facts, const Json::Value& jTask) {
  if (boolOf(jTask, "run_the_same_time")) {
    return 0;
  }
  Json::Int64 iDue = facts.iFiredAt;
  for (const AwaitedTask& awaited : awaitedTasks(facts.vecRuns, jTask)) {
    iDue = std::max(iDue, timeOf(awaited.jRun, "stop_time"));
  }
  const Json::Value jRuns = listRuns(session,
                                     fmt::format("task_name = {} and {} <= {} and (stop_time is null or {} >= {})",
                                                 sqlText(textOf(jTask, "task_name")), sqlTime("start_time"),
                                                 iDue + START_SECONDS, sqlTime("stop_time"), iDue),
                                     1);
  return jRuns.empty() ? 0 : intOf(jRuns[0], "result_id");
}

/// The running run that the execution reported for the task.
Json::Int64 reportedRun(Session& session, const ExecutionFacts& facts, const std::string& strTask) {
  for (const Json::Int64 iRun : facts.setInTheWay) {
    const Json::Value jRuns = listRuns(session, fmt::format("result_id = {}", iRun));
    if (!jRuns.empty() && textOf(jRuns[0], "task_name") == strTask) {
      return iRun;
    }
  }
  return 0;
}

/// Why a task was not started when neither itself nor a dependency is the reason.
Reason otherReason(Session& session, const ExecutionFacts& facts, const Json::Value& jTask) {
  if (const Json::Int64 iRun = reportedRun(session, facts, textOf(jTask, "task_name")); iRun != 0) {
    return refusedReason(iRun);
  }
  if (facts.state == State::UNDER_WAY) {
    return {"waiting", "", Json::objectValue};
  }
  if (facts.blOverBudget) {
    return {"budget", "", Json::objectValue};
  }
  if (const Json::Int64 iRun = runInTheWay(session, facts, jTask); iRun != 0) {
    return refusedReason(iRun);
  }
  const auto it = std::find_if(facts.vecRuns.begin(), facts.vecRuns.end(),
                               [&](const Json::Value& jRun) { return wasInterrupted(facts, jRun); });
  if (it != facts.vecRuns.end()) {
    return {"interrupted", "", objectOf({{"run", (*it)["result_id"]}, {"task", (*it)["task_name"]}})};
  }
  return {"unknown", "", objectOf({{"cause", facts.state == State::OVER ? "failed" : "not_remembered"}})};
}

}  // namespace

Json::Value runOf(const std::vector<Json::Value>& vecRuns, const std::string& strTask) {
  Json::Value jNewest;
  for (const Json::Value& jRun : vecRuns) {
    if (textOf(jRun, "task_name") == strTask && intOf(jRun, "result_id") > intOf(jNewest, "result_id")) {
      jNewest = jRun;
    }
  }
  return jNewest;
}

std::vector<AwaitedTask> awaitedTasks(const std::vector<Json::Value>& vecRuns, const Json::Value& jTask) {
  std::vector<AwaitedTask> vecWaitsFor;
  for (const std::string& strAwaited : readDependencyList(textOf(jTask, "depend_on_task"))) {
    vecWaitsFor.push_back({strAwaited, runOf(vecRuns, strAwaited)});
  }
  return vecWaitsFor;
}

bool isRunning(const Json::Value& jRun) {
  return isOpen(jRun) && isRunAlive(jRun);
}

Json::Int64 refusingRunOf(Session& session, const std::string& strTask) {
  const Json::Value jRuns = listRuns(session, fmt::format("task_name = {} and stop_time is null", sqlText(strTask)), 1);
  if (jRuns.empty() || boolOf(findTask(session, strTask), "run_the_same_time") ||
      livePidsOf(session, strTask).empty()) {
    return 0;
  }
  return intOf(jRuns[0], "result_id");
}

Reason refusedReason(Json::Int64 iRun) {
  return {"refused", "", objectOf({{"run", iRun}})};
}

std::vector<Reason> whyNotStarted(Session& session, const ExecutionFacts& facts, const Json::Value& jTask,
                                  const std::vector<Reason>& vecReasonsNow) {
  std::vector<Reason> vecReasons;
  // The runs tell more about a dependency than its record does.
  for (const Reason& reason : vecReasonsNow) {
    const bool blItself = reason.strOther.empty() && reason.strCode != "running";
    if (blItself || reason.strCode == "missing" || reason.strCode == "other_event" || reason.strCode == "circle") {
      vecReasons.push_back(reason);
    }
  }
  const NextTries tries = facts.state == State::OVER ? NextTries() : nextTries();
  for (const AwaitedTask& awaited : awaitedTasks(facts.vecRuns, jTask)) {
    const bool blNamed = std::any_of(vecReasons.begin(), vecReasons.end(),
                                     [&](const Reason& reason) { return reason.strOther == awaited.strName; });
    if (!blNamed && (!awaited.jRun.isObject() || isOpen(awaited.jRun) || wasInterrupted(facts, awaited.jRun))) {
      vecReasons.push_back(awaitedReason(facts, awaited));
    } else if (const std::optional<TryNotes> next = nextTryAfter(tries, awaited.jRun); !blNamed && next) {
      vecReasons.push_back(
          {"need_retry", awaited.strName, objectOf({{"run", awaited.jRun["result_id"]}, {"at", next->iAt}})});
    } else if (!blNamed && neededSuccess(jTask, awaited)) {
      vecReasons.push_back({"need_failed", awaited.strName, objectOf({{"run", awaited.jRun["result_id"]}})});
    }
  }
  if (vecReasons.empty()) {
    vecReasons.push_back(otherReason(session, facts, jTask));
  }
  return vecReasons;
}

}  // namespace Host
