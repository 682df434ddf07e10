#include "run_query.h"

#include <algorithm>
#include <fmt/format.h>
#include <limits>

#include "common/events/event_catalogue.h"
#include "common/store/records.h"
#include "common/store/rows.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/number_spec.h"
#include "common/text/stored_time.h"

namespace Host {

namespace {

std::string whereOf(const RunQuery& query) {
  std::string strWhere = "1";
  if (!query.strTask.empty()) {
    strWhere += " and task_name = " + sqlText(query.strTask);
  }
  if (!query.strEvent.empty()) {
    strWhere += " and trigger_event = " + sqlText(query.strEvent);
  }
  if (query.owner) {
    strWhere += fmt::format(" and owner = {}", *query.owner);
  }
  if (query.since) {
    strWhere += fmt::format(" and {} >= {}", sqlTime("start_time"), *query.since);
  }
  if (query.until) {
    strWhere += fmt::format(" and {} <= {}", sqlTime("start_time"), *query.until);
  }
  if (query.blInterrupted) {
    strWhere += " and " + whereInterrupted();
  }
  if (query.iBefore != 0) {
    strWhere += fmt::format(" and result_id < {}", query.iBefore);
  }
  return query.outcome ? strWhere + " and " + whereOutcome(*query.outcome) : strWhere;
}

}  // namespace

RunPage newestRuns(Session& session, const RunQuery& query) {
  if (!query.strTask.empty()) {
    requireTask(session, query.strTask);
  }
  if (!query.strEvent.empty() && !hasRun(session, "trigger_event = " + sqlText(query.strEvent)) &&
      query.strEvent != "on_demand") {
    requireEvent(session, query.strEvent);
  }
  const Json::Value jRuns = listRuns(session, whereOf(query), query.cLimit == 0 ? 0 : query.cLimit + 1);
  RunPage page{{jRuns.begin(), jRuns.end()}, query.cLimit != 0 && jRuns.size() > query.cLimit};
  std::reverse(page.vecRuns.begin(), page.vecRuns.end());
  if (page.blMore) {
    page.vecRuns.resize(query.cLimit);
  }
  return page;
}

std::vector<Json::Value> openRunsOf(Session& session, const std::string& strTask) {
  RunQuery query;
  query.strTask = strTask;
  query.outcome = Outcome::Kind::RUNNING;
  return newestRuns(session, query).vecRuns;
}

Json::Value newestRunOf(Session& session, const std::string& strTask) {
  const Json::Value jRuns = listRuns(session, fmt::format("task_name = {}", sqlText(strTask)), 1);
  return jRuns.empty() ? Json::Value() : jRuns[0];
}

Json::Value namedRun(Session& session, const std::string& strRunOrTask) {
  if (!strRunOrTask.empty() && strRunOrTask.find_first_not_of("0123456789") == std::string::npos) {
    const std::optional<std::uint64_t> iRun = numberFrom(strRunOrTask);
    if (!iRun || *iRun > static_cast<std::uint64_t>(std::numeric_limits<Json::Int64>::max())) {
      throw Failure(fmt::format("there is no run {}", strRunOrTask));
    }
    return requireRun(session, static_cast<Json::Int64>(*iRun));
  }
  requireTask(session, strRunOrTask);
  Json::Value jRun = newestRunOf(session, strRunOrTask);
  if (jRun.isNull()) {
    throw Failure(fmt::format("the task \"{}\" has no run yet", strRunOrTask));
  }
  return jRun;
}

RunCounts countRuns(Session& session, std::time_t since) {
  const std::string strSql = fmt::format(
      "select count(*), coalesce(sum({}), 0), coalesce(sum({}), 0) from task_result where result_id > coalesce((select "
      "result_id from task_result where {} < {} order by result_id desc limit 1), 0)",
      whereOutcome(Outcome::Kind::FAILED), whereOutcome(Outcome::Kind::RUNNING), sqlTime("start_time"), since);
  RunCounts counts;
  for (Rows rows(session, strSql); rows.next();) {
    const auto count = [&](int iColumn) { return static_cast<std::size_t>(rows.number(iColumn)); };
    counts = {count(0), count(1), count(2)};
  }
  return counts;
}

std::map<std::string, Json::Value> newestRunOfEach(Session& session) {
  std::map<std::string, Json::Value> mapRuns;
  forEachNewestRun(session,
                   {"result_id", "task_name", "start_time", "stop_time", "exit_info", "ended_by", "shell_status"},
                   [&](Json::Value&& jRun) { mapRuns[textOf(jRun, "task_name")] = std::move(jRun); });
  return mapRuns;
}

}  // namespace Host
