#include "task_query.h"

#include <fmt/format.h>

#include "common/events/event_catalogue.h"
#include "common/runs/outcome.h"
#include "common/store/records.h"

namespace Host {

namespace {

std::string whereNewestRun(const std::string& strWhere) {
  return fmt::format(
      "exists (select 1 from task_result where result_id = (select max(result_id) from task_result as run where "
      "run.task_name = task.task_name) and {})",
      strWhere);
}

/// An older run can be open, too: a task may run in parallel.
std::string whereState(const std::string& strState) {
  if (strState == "enabled" || strState == "disabled") {
    return fmt::format("enable = {}", strState == "enabled" ? 1 : 0);
  }
  if (strState == "never") {
    return "not " + whereNewestRun("1");
  }
  if (strState == "running") {
    return "exists (select 1 from task_result where task_result.task_name = task.task_name and stop_time is null)";
  }
  return whereNewestRun(whereOutcome(strState == "ok" ? Outcome::Kind::OK : Outcome::Kind::FAILED));
}

std::string whereText(const std::string& strText) {
  const std::string strLower = fmt::format("lower({})", sqlText(strText));
  return fmt::format(
      "(instr(lower(task_name), {0}) > 0 or instr(lower(coalesce(description, '')), {0}) > 0 or "
      "instr(lower(operation), {0}) > 0)",
      strLower);
}

}  // namespace

std::string whereTask(Session& session, const TaskQuery& query) {
  if (!query.strEvent.empty()) {
    requireEvent(session, query.strEvent);
  }
  std::string strWhere = query.strEvent.empty() ? "1" : whereEvent(query.strEvent);
  if (query.owner) {
    strWhere += fmt::format(" and owner = {}", *query.owner);
  }
  if (!query.strState.empty()) {
    strWhere += " and " + whereState(query.strState);
  }
  return query.strText.empty() ? strWhere : strWhere + " and " + whereText(query.strText);
}

}  // namespace Host
