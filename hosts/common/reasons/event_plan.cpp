#include "event_plan.h"

#include <algorithm>
#include <fmt/format.h>
#include <map>
#include <tuple>

#include "common/runs/running_list.h"
#include "common/store/records.h"
#include "common/store/rows.h"
#include "common/text/json_members.h"
#include "common/text/stored_time.h"

namespace Host {

namespace {

/// The library looks once a second for runs that have ended, and starts the next tasks a second later.
constexpr Json::Int64 PASS_SECONDS = 1;

using RunningTasks = std::map<std::string, Reason>;

/// Tasks that would be refused, because they are running.
RunningTasks refusedTasks(Session& session, const Json::Value& jTasks) {
  RunningTasks mapRunning;
  for (const Json::Value& jTask : jTasks) {
    const std::vector<pid_t> vecPids =
        boolOf(jTask, "run_the_same_time") ? std::vector<pid_t>() : listedPidsOf(session, jTask);
    if (!vecPids.empty()) {
      mapRunning[textOf(jTask, "task_name")] = {"running", "", objectOf({{"processes", arrayOf(vecPids)}})};
    }
  }
  return mapRunning;
}

/// Tasks that would be refused count as disabled.
Json::Value withoutRefused(const Json::Value& jTasks, const RunningTasks& mapRunning) {
  Json::Value jOut = jTasks;
  for (Json::Value& jTask : jOut) {
    if (mapRunning.count(textOf(jTask, "task_name")) > 0) {
      jTask["enable"] = false;
    }
  }
  return jOut;
}

/// How long the newest run of each task took that has ended.
class LastDurations {
public:
  explicit LastDurations(Session& session)
      : m_rows(session, fmt::format("SELECT {} - {} FROM task_result WHERE task_name = ? AND stop_time IS NOT NULL AND "
                                    "start_time IS NOT NULL ORDER BY result_id DESC LIMIT 1",
                                    sqlTime("stop_time"), sqlTime("start_time"))) {}

  std::optional<Json::Int64> of(const std::string& strTask) {
    m_rows.restart(strTask);
    return m_rows.next() ? std::optional(std::max<Json::Int64>(m_rows.number(0), 0)) : std::nullopt;
  }

private:
  Rows m_rows;
};

/// \param vecOrder  each task after its dependencies.
std::vector<PlannedTask> schedule(Session& session, const std::vector<const GraphTask*>& vecOrder) {
  std::map<std::string, PlannedTask> mapPlanned;
  LastDurations durations(session);
  for (const GraphTask* pTask : vecOrder) {
    PlannedTask planned{*pTask, 1, durations.of(pTask->strName), 0, 0};
    for (const std::string& strAwaited : pTask->vecWaitsFor) {
      const PlannedTask& awaited = mapPlanned.at(strAwaited);
      planned.uWave = std::max(planned.uWave, awaited.uWave + 1);
      planned.iStart = std::max(planned.iStart, awaited.iEnd + PASS_SECONDS);
    }
    planned.iEnd = planned.iStart + planned.iLastDuration.value_or(0);
    mapPlanned.emplace(pTask->strName, std::move(planned));
  }
  std::vector<PlannedTask> vecTasks;
  vecTasks.reserve(mapPlanned.size());
  for (auto& [strName, planned] : mapPlanned) {
    vecTasks.push_back(std::move(planned));
  }
  std::sort(vecTasks.begin(), vecTasks.end(), [](const PlannedTask& left, const PlannedTask& right) {
    return std::tie(left.uWave, left.task.strName) < std::tie(right.uWave, right.task.strName);
  });
  return vecTasks;
}

/// Why a task is not in the plan.
std::vector<Reason> reasonsNow(Reasons& reasons, const GraphTask& task, const RunningTasks& mapRunning) {
  std::vector<Reason> vecReasons = reasons.of(task);
  const auto itSelf = mapRunning.find(task.strName);
  for (Reason& reason : vecReasons) {
    const auto itAwaited = mapRunning.find(reason.strOther);
    if (reason.strCode == "disabled" && itSelf != mapRunning.end()) {
      reason = itSelf->second;
    } else if (reason.strCode == "need_disabled" && itAwaited != mapRunning.end()) {
      reason.strCode = "need_blocked";
      reason.blNeedsAction = false;
    }
  }
  return vecReasons;
}

/// The tasks of the event that would not be started.
std::vector<BlockedTask> blockedTasks(const TaskGraph& graph, const std::string& strEvent,
                                      const RunningTasks& mapRunning) {
  std::vector<BlockedTask> vecBlocked;
  Reasons reasons(graph);
  for (const GraphTask* pTask : graph.tasksOf(strEvent)) {
    if (std::vector<Reason> vecReasons = reasonsNow(reasons, *pTask, mapRunning); !vecReasons.empty()) {
      vecBlocked.push_back({pTask->strName, std::move(vecReasons)});
    }
  }
  return vecBlocked;
}

}  // namespace

const Members PLAN_MEMBERS = {"task_name", "event",      "depend_on_task",    "enable", "owner", "run_the_same_time",
                              "status",    "owner_name", "only_after_success"};

std::vector<Reason> presentReasons(Session& session, const Json::Value& jTasks, const std::string& strTask) {
  const RunningTasks mapRunning = refusedTasks(session, jTasks);
  const TaskGraph graph(mapRunning.empty() ? jTasks : withoutRefused(jTasks, mapRunning));
  const GraphTask* const pTask = graph.find(strTask);
  if (pTask == nullptr) {
    return {};
  }
  Reasons reasons(graph);
  std::vector<Reason> vecReasons = reasonsNow(reasons, *pTask, mapRunning);
  for (const std::string& strProblem : graph.whyUnsafe(graph.planOf(pTask->strEvent))) {
    vecReasons.push_back({"unsafe", "", objectOf({{"problem", strProblem}})});
  }
  return vecReasons;
}

EventPlan planEvent(Session& session, const Json::Value& jTasks, const std::string& strEvent) {
  EventPlan plan;
  const RunningTasks mapRunning = refusedTasks(session, jTasks);
  const TaskGraph graph(mapRunning.empty() ? jTasks : withoutRefused(jTasks, mapRunning));
  const std::vector<const GraphTask*> vecOrder = graph.planOf(strEvent);
  plan.vecProblems = graph.whyUnsafe(vecOrder);
  plan.vecTasks = schedule(session, vecOrder);
  plan.vecBlocked = blockedTasks(graph, strEvent, mapRunning);
  for (const PlannedTask& planned : plan.vecTasks) {
    plan.iDuration = std::max(plan.iDuration, planned.iEnd);
    plan.blExact = plan.blExact && planned.iLastDuration.has_value();
  }
  return plan;
}

}  // namespace Host
