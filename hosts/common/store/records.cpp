#include "records.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <new>
#include <string_view>
#include <vector>

#include "orva_platform.h"

#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/json_reader.h"
#include "common/text/suggestion.h"
#include "rows.h"
#include "session.h"

namespace Host {

namespace {

Json::Value list(OrvaJsonDbApi* pApi, const Json::Value& jFilter, const char* szWhat) {
  Json::Value jOut;
  if (pApi->recList(jFilter, jOut) < 0 || !jOut.isArray()) {
    throw Failure(fmt::format("cannot list the {}: {}", szWhat, SEE_LOG));
  }
  return jOut;
}

Json::Value getOne(OrvaJsonDbApi* pApi, const Json::Value& jFilter, const std::string& strWhat) {
  Json::Value jOut;
  if (pApi->recGetOne(jFilter, jOut) < 0) {
    throw Failure(fmt::format("cannot read {}: {}", strWhat, SEE_LOG));
  }
  return jOut;
}

constexpr std::array<std::string_view, 5> BOOL_MEMBERS = {"enable", "run_the_same_time", "notify_enable",
                                                          "notify_if_error", "only_after_success"};
constexpr std::array<std::string_view, 4> JSON_MEMBERS = {"status", "last_exit_info", "exit_info", "environment"};

template <typename Names>
bool isAmong(const Names& names, std::string_view strName) {
  return std::find(names.begin(), names.end(), strName) != names.end();
}

/// A column in the form that the store gives it.
Json::Value valueOf(const Rows& row, int iColumn, std::string_view strMember) {
  if (isAmong(BOOL_MEMBERS, strMember)) {
    return row.number(iColumn) != 0;
  }
  if (isAmong(JSON_MEMBERS, strMember)) {
    return readJsonOrNull(row.text(iColumn));
  }
  return row.isText(iColumn) ? Json::Value(row.text(iColumn)) : Json::Value(row.number(iColumn));
}

/// Reads records row by row. A null column gives no member.
void forEachRow(const Session& session, const char* szTable, const Members& members, const std::string& strRest,
                const std::function<void(Json::Value&&)>& fnRecord) {
  Rows rows(session, fmt::format("SELECT {} FROM {} WHERE {}", fmt::join(members, ", "), szTable, strRest));
  while (rows.next()) {
    Json::Value jRecord(Json::objectValue);
    int iColumn = 0;
    for (const char* const szMember : members) {
      if (!rows.isNull(iColumn)) {
        jRecord[szMember] = valueOf(rows, iColumn, szMember);
      }
      ++iColumn;
    }
    fnRecord(std::move(jRecord));
  }
}

}  // namespace

OpenStore::OpenStore() : m_pSession(std::make_unique<Session>()) {}

OpenStore::~OpenStore() = default;

Json::Value listTasks(Session& session, const Json::Value& jFilter) {
  Json::Value jTasks = list(session.tasks(), jFilter, "tasks");
  std::vector<Json::Value> vecTasks(jTasks.begin(), jTasks.end());
  std::sort(vecTasks.begin(), vecTasks.end(), [](const Json::Value& jLeft, const Json::Value& jRight) {
    return textOf(jLeft, "task_name") < textOf(jRight, "task_name");
  });
  Json::Value jSorted(Json::arrayValue);
  for (Json::Value& jTask : vecTasks) {
    jSorted.append(std::move(jTask));
  }
  return jSorted;
}

const Members TASK_MEMBERS = {"task_name",
                              "event",
                              "depend_on_task",
                              "enable",
                              "owner",
                              "run_the_same_time",
                              "notify_enable",
                              "notify_if_error",
                              "time_limit",
                              "last_start_time",
                              "last_stop_time",
                              "operation_type",
                              "status",
                              "last_exit_info",
                              "notify_mail",
                              "description",
                              "operation",
                              "owner_name",
                              "output_limit",
                              "directory",
                              "nice",
                              "io_class",
                              "memory_limit",
                              "environment",
                              "only_after_success",
                              "retries",
                              "retry_after"};

void forEachTask(Session& session, const Members& members, const std::string& strWhere,
                 const std::function<void(Json::Value&&)>& fnTask) {
  forEachRow(session, "task", members, fmt::format("{} ORDER BY task_name", strWhere), fnTask);
}

void forEachNewestRun(Session& session, const Members& members, const std::function<void(Json::Value&&)>& fnRun) {
  forEachRow(
      session, "task_result", members,
      "result_id IN (SELECT (SELECT max(result_id) FROM task_result AS run WHERE run.task_name = task.task_name) "
      "FROM task)",
      fnRun);
}

std::string whereTask(const std::string& strTask) {
  return "task_name = " + sqlText(strTask);
}

std::string whereTasks(const std::set<std::string>& setTasks) {
  std::vector<std::string> vecNames;
  std::transform(setTasks.begin(), setTasks.end(), std::back_inserter(vecNames), &sqlText);
  return fmt::format("task_name IN ({})", fmt::join(vecNames, ", "));
}

std::string whereEvent(const std::string& strEvent) {
  return "event = " + sqlText(strEvent);
}

std::string whereBegins(const char* szMember, const std::string& strBegin) {
  // An index has the order. No character comes after the last one of Unicode.
  return fmt::format("{0} >= {1} AND {0} < {1} || char(1114111)", szMember, sqlText(strBegin));
}

std::string whereAwaits(const std::string& strTask) {
  // The index of events has the lists, so no other row is read.
  return fmt::format("rowid IN (SELECT rowid FROM task WHERE instr(depend_on_task, {}) > 0)",
                     sqlText('[' + strTask + ']'));
}

Json::Value listTaskMembers(Session& session, const Members& members, const std::string& strWhere) {
  Json::Value jTasks(Json::arrayValue);
  forEachTask(session, members, strWhere, [&](Json::Value&& jTask) { jTasks.append(std::move(jTask)); });
  return jTasks;
}

Json::Value listRelations(Session& session, const std::set<std::string>& setNames) {
  return listTaskMembers(session,
                         {"task_name", "event", "depend_on_task", "enable", "owner", "run_the_same_time", "time_limit",
                          "owner_name", "output_limit", "directory", "nice", "io_class", "memory_limit", "environment",
                          "only_after_success", "retries", "retry_after"},
                         whereTasks(setNames));
}

namespace {

std::vector<std::string> textsOf(const Session& session, const std::string& strSql) {
  std::vector<std::string> vecTexts;
  for (Rows rows(session, strSql); rows.next();) {
    vecTexts.push_back(rows.text(0));
  }
  return vecTexts;
}

}  // namespace

std::vector<std::string> taskNames(Session& session) {
  return textsOf(session, "SELECT task_name FROM task ORDER BY task_name");
}

std::vector<std::string> taskNames(Session& session, const std::string& strEvent) {
  return textsOf(session, fmt::format("SELECT task_name FROM task WHERE {} ORDER BY task_name", whereEvent(strEvent)));
}

std::set<std::string> eventNames(Session& session) {
  const std::vector<std::string> vecNames = textsOf(session, "SELECT DISTINCT event FROM task");
  return {vecNames.begin(), vecNames.end()};
}

std::vector<WaitingTask> waitingTasks(Session& session) {
  std::vector<WaitingTask> vecTasks;
  for (Rows rows(session, "SELECT task_name, depend_on_task FROM task WHERE depend_on_task <> ''"); rows.next();) {
    vecTasks.push_back({rows.text(0), rows.text(1)});
  }
  return vecTasks;
}

Json::Value listTasks() {
  Session session;
  return listTasks(session);
}

Json::Value requireTask(const std::string& strTask) {
  Session session;
  return requireTask(session, strTask);
}

std::set<Json::Int64> ownersOf(const Json::Value& jTasks) {
  std::set<Json::Int64> setOwners;
  for (const Json::Value& jTask : jTasks) {
    setOwners.insert(intOf(jTask, "owner", -1));
  }
  return setOwners;
}

Json::Value findTask(Session& session, const std::string& strTask) {
  return getOne(session.tasks(), objectOf({{"task_name", strTask}}), fmt::format("the task \"{}\"", strTask));
}

Json::Value requireTask(Session& session, const std::string& strTask) {
  Json::Value jTask = findTask(session, strTask);
  if (!jTask.isObject()) {
    throw Failure(fmt::format("there is no task \"{}\"{}", strTask, didYouMean(strTask, taskNames(session))));
  }
  return jTask;
}

std::string sqlText(const std::string& strText) {
  const std::unique_ptr<char, decltype(&sqlite3_free)> szText(sqlite3_mprintf("%Q", strText.c_str()), &sqlite3_free);
  if (szText == nullptr) {
    throw std::bad_alloc();
  }
  return szText.get();
}

Json::Value listRuns(Session& session, const std::string& strWhere, unsigned cNewest) {
  Json::Value jFilter(Json::objectValue);
  // The store has no limit of its own, so a query in the clause sets it.
  jFilter["orvaSqlWhereFilter"] =
      cNewest == 0
          ? strWhere
          : fmt::format("result_id in (select result_id from task_result where {} order by result_id desc limit {})",
                        strWhere, cNewest);
  return list(session.runs(), jFilter, "runs");
}

bool hasRun(Session& session, const std::string& strWhere) {
  return !getOne(session.runs(), objectOf({{"orvaSqlWhereFilter", strWhere}}), "the runs").isNull();
}

Json::Value requireRun(Session& session, Json::Int64 iRun) {
  Json::Value jRun = getOne(session.runs(), objectOf({{"result_id", iRun}}), fmt::format("run {}", iRun));
  if (!jRun.isObject()) {
    throw Failure(fmt::format("there is no run {}", iRun));
  }
  return jRun;
}

pid_t pidOf(const Json::Value& jRun) {
  return static_cast<pid_t>(intOf(jRun, "pid"));
}

}  // namespace Host
