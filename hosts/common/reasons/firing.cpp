#include "firing.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fmt/format.h>

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/tasks/event_relations.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"

namespace Host {

namespace {

/// How long to wait for a busy store: the tasks come first.
constexpr std::chrono::seconds LOCK_LIMIT(2);

Json::Int64 now() {
  return static_cast<Json::Int64>(std::time(nullptr));
}

/// Why a task that is to start at once will be refused.
std::vector<Reason> refusalOf(Session& session, const GraphTask& task) {
  const Json::Int64 iRun = task.blRoot ? refusingRunOf(session, task.strName) : 0;
  return iRun == 0 ? std::vector<Reason>() : std::vector<Reason>{refusedReason(iRun)};
}

FiringReasons reasonsAtBegin(Session& session, const FiringBegin& begin, const Json::Value& jTasks) {
  FiringReasons mapReasons;
  const TaskGraph graph(jTasks);
  Reasons reasons(graph, Tense::THEN);
  for (const GraphTask* pTask : graph.tasksOf(begin.strEvent)) {
    mapReasons[pTask->strName] = reasons.of(*pTask);
  }
  for (const GraphTask& task : begin.vecTasks) {
    mapReasons[task.strName] = refusalOf(session, task);
  }
  return mapReasons;
}

/// Drops the reasons of deleted or renamed tasks.
void dropGone(Session& session, FiringReasons& mapReasons) {
  std::set<std::string> setGone;
  for (const auto& [strTask, vecReasons] : mapReasons) {
    setGone.insert(strTask);
  }
  for (const Json::Value& jTask : listRelations(session, setGone)) {
    setGone.erase(textOf(jTask, "task_name"));
  }
  std::erase_if(mapReasons, [&](const auto& entry) { return setGone.count(entry.first) > 0; });
}

std::vector<Json::Value> runsOf(Session& session, const ExecutionNotes& notes) {
  std::vector<Json::Value> vecRuns;
  for (const Json::Value& jRun : listRuns(session, fmt::format("result_id > {}", notes.iLastRun))) {
    if (notes.mapRuns.count(pidOf(jRun)) > 0) {
      vecRuns.push_back(jRun);
    }
  }
  return vecRuns;
}

/// \param strTime  the runs' time, or a query that gives it.
std::vector<Json::Value> runsAt(Session& session, const Firing& firing, const std::string& strTime) {
  const Json::Value jRuns =
      listRuns(session, fmt::format("trigger_event = {} and result_id > {} and event_fire_time = {}",
                                    sqlText(firing.strEvent), firing.iLastRun, strTime));
  return {jRuns.begin(), jRuns.end()};
}

/// The tasks that were going to start, and did not.
std::set<std::string> notStarted(const ExecutionFacts& facts, const FiringReasons& mapBefore) {
  std::set<std::string> setTasks;
  for (const auto& [strTask, vecReasons] : mapBefore) {
    if (vecReasons.empty()) {
      setTasks.insert(strTask);
    }
  }
  for (const Json::Value& jRun : facts.vecRuns) {
    setTasks.erase(textOf(jRun, "task_name"));
  }
  return setTasks;
}

FiringReasons reasonsAtEnd(Session& session, const std::string& strEvent, const ExecutionFacts& facts,
                           const FiringReasons& mapBefore) {
  FiringReasons mapReasons;
  const std::set<std::string> setTasks = notStarted(facts, mapBefore);
  if (setTasks.empty()) {
    return mapReasons;
  }
  const Json::Value jTasks = listEventRelations(session, strEvent);
  const TaskGraph graph(jTasks);
  Reasons reasons(graph, Tense::THEN);
  for (const Json::Value& jTask : jTasks) {
    const std::string strTask = textOf(jTask, "task_name");
    if (setTasks.count(strTask) > 0) {
      mapReasons[strTask] = whyNotStarted(session, facts, jTask, reasons.of(*graph.find(strTask)));
    }
  }
  return mapReasons;
}

/// The facts about the execution so far, or until it was interrupted.
ExecutionFacts factsOf(Session& session, const Firing& firing) {
  ExecutionFacts facts;
  facts.iFiredAt = firing.iFiredAt;
  if (firing.iEndedAt != 0) {
    facts.state = ExecutionFacts::State::OVER;
    facts.vecRuns = runsAt(session, firing, std::to_string(firing.iEventFireTime));
  } else if (const std::optional<LiveExecution> execution = executionOfFiring(firing.iId)) {
    facts.state = ExecutionFacts::State::UNDER_WAY;
    facts.vecRuns = runsOf(session, execution->notes);
    facts.setInTheWay = execution->notes.setInTheWay;
  } else {
    facts.vecRuns =
        runsAt(session, firing,
               sqlLatest("event_fire_time", "task_result",
                         fmt::format("trigger_event = {} and result_id > {} and {} >= {}", sqlText(firing.strEvent),
                                     firing.iLastRun, sqlTime("event_fire_time"), firing.iBegunAt)));
  }
  return facts;
}

}  // namespace

Json::Int64 rememberFiring(Session& session, const FiringBegin& begin, const Json::Value& jTasks) {
  FiringReasons mapReasons = reasonsAtBegin(session, begin, jTasks);
  Firing firing;
  firing.strEvent = begin.strEvent;
  firing.iFiredAt = begin.iFiredAt;
  firing.iBegunAt = now();
  firing.iLastRun = begin.iLastRun;
  firing.strProblem = begin.strProblem;
  firing.iEndedAt = begin.vecTasks.empty() || !begin.strProblem.empty() ? firing.iBegunAt : 0;
  FiringTable table(session);
  WriteLock lock(session, LOCK_LIMIT);
  dropGone(session, mapReasons);
  const Json::Int64 iFiring = table.add(firing, mapReasons);
  lock.commit();
  return iFiring;
}

void rememberEnd(Session& session, Json::Int64 iFiring, const ExecutionNotes& notes, bool blOverBudget) {
  FiringTable table(session);
  std::optional<Firing> firing = table.find(iFiring);
  if (!firing) {
    return;
  }
  ExecutionFacts facts{ExecutionFacts::State::OVER, firing->iFiredAt, runsOf(session, notes), notes.setInTheWay,
                       blOverBudget};
  const FiringReasons mapReasons = reasonsAtEnd(session, firing->strEvent, facts, table.reasonsOf(firing->iId));
  firing->iEndedAt = now();
  firing->iEventFireTime = facts.vecRuns.empty() ? 0 : intOf(facts.vecRuns.front(), "event_fire_time");
  WriteLock lock(session, LOCK_LIMIT);
  table.end(*firing, mapReasons);
  lock.commit();
}

bool LeftOut::isFailure() const {
  const auto has = [&](const char* szCode) {
    return std::any_of(vecReasons.begin(), vecReasons.end(),
                       [&](const Reason& reason) { return reason.strCode == szCode; });
  };
  // A disabled task is not meant to run.
  return has("no_owner") && !has("disabled");
}

std::vector<LeftOut> leftOut(Session& session, Json::Int64 iFiring) {
  std::vector<LeftOut> vecLeftOut;
  for (auto& [strTask, vecReasons] : FiringTable(session).reasonsOf(iFiring)) {
    if (!vecReasons.empty()) {
      vecLeftOut.push_back({strTask, std::move(vecReasons)});
    }
  }
  return vecLeftOut;
}

std::optional<LastFiring> lastFiring(Session& session, const std::string& strEvent) {
  FiringTable table(session);
  std::optional<Firing> firing = table.newest(strEvent);
  if (!firing) {
    return std::nullopt;
  }
  ExecutionFacts facts = factsOf(session, *firing);
  // It may have ended since its record was read.
  if (facts.state == ExecutionFacts::State::UNKNOWN) {
    firing = table.find(firing->iId).value_or(*firing);
    facts = factsOf(session, *firing);
  }
  return LastFiring{*firing, std::move(facts), table.reasonsOf(firing->iId)};
}

}  // namespace Host
