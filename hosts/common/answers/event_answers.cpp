#include "event_answers.h"

#include <fmt/format.h>

#include "command_text.h"
#include "common/events/event_state.h"
#include "common/events/event_switch.h"
#include "common/reasons/event_plan.h"
#include "common/reasons/explanation.h"
#include "common/text/json_members.h"
#include "reason_text.h"
#include "run_answers.h"

namespace Host {

Json::Value eventForPrograms(const EventState& event) {
  return objectOf({{"name", event.event.strName},
                   {"title", event.event.jTitle},
                   {"description", event.event.jDescription},
                   {"in_catalogue", event.blInCatalogue},
                   {"added", event.event.blOwn},
                   {"at", arrayOf(event.event.vecAt)},
                   {"next", event.iNext ? Json::Value(static_cast<Json::Int64>(*event.iNext)) : Json::Value()},
                   {"tasks", event.cTasks},
                   {"enabled", event.state.strInstalled == "enabled"},
                   {"active", event.state.strActive.empty() ? Json::Value() : Json::Value(event.state.strActive)},
                   {"fired_by", arrayOf(event.vecFiredBy)}});
}

Json::Value planForPrograms(const std::string& strEvent, const EventPlan& plan, const OwnerNames& owners) {
  const auto planned = [&](const PlannedTask& task) {
    return objectOf({{"task_name", task.task.strName},
                     {"event", task.task.strEvent},
                     {"owner", task.task.iOwner},
                     {"owner_name", owners.at(task.task.strName)},
                     {"wave", task.uWave},
                     {"last_duration", task.iLastDuration ? Json::Value(*task.iLastDuration) : Json::Value()},
                     {"starts_after", task.iStart},
                     {"ends_after", task.iEnd},
                     {"waits_for", arrayOf(task.task.vecWaitsFor)},
                     {"only_after_success", task.task.blOnlyAfterSuccess}});
  };
  const auto blocked = [](const BlockedTask& task) {
    return objectOf({{"task_name", task.strName}, {"reasons", reasonsForPrograms(task.strName, task.vecReasons)}});
  };
  return objectOf({{"event", strEvent},
                   {"would_run", arrayOf(plan.vecTasks, planned)},
                   {"would_not_run", arrayOf(plan.vecBlocked, blocked)},
                   {"problems", arrayOf(plan.vecProblems)},
                   {"duration", plan.iDuration},
                   {"duration_known", plan.blExact}});
}

Json::Value explanationForPrograms(const Explanation& explanation) {
  const std::string strTask = textOf(explanation.jTask, "task_name");
  const auto run = [](const Json::Value& jRun) { return jRun.isObject() ? runForPrograms(jRun) : Json::Value(); };
  const auto stateOf = [&](const AwaitedTask& state) {
    return objectOf({{"task_name", state.strName}, {"run", run(state.jRun)}});
  };
  return objectOf({{"task_name", strTask},
                   {"event", explanation.jTask["event"]},
                   {"verdict", verdictWord(explanation.verdict)},
                   {"remembered", explanation.blRemembered},
                   {"last_fired", explanation.iFiredAt == 0 ? Json::Value() : Json::Value(explanation.iFiredAt)},
                   {"run", run(explanation.jRun)},
                   {"newest_run", run(explanation.jNewest)},
                   {"next_try", nextTryForPrograms(nextTryAfter(explanation.tries, explanation.jNewest))},
                   {"reasons", reasonsForPrograms(strTask, explanation.vecReasons)},
                   {"would_start_now", explanation.vecReasonsNow.empty()},
                   {"obstacles_now", reasonsForPrograms(strTask, explanation.vecReasonsNow)},
                   {"needs", arrayOf(explanation.vecWaitsFor, stateOf)}});
}

std::string disabledEventNote(const std::string& strEvent) {
  const std::string strState = disabledState(strEvent);
  return strState.empty()
             ? std::string()
             : fmt::format("the event \"{}\" is {}: {}", strEvent, strState, eorvaCommand("event enable", {strEvent}));
}

}  // namespace Host
