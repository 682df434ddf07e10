#include "records.h"

#include <algorithm>
#include <fmt/format.h>
#include <new>
#include <sqlite3.h>
#include <vector>

#include "orva_platform.h"

#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/suggestion.h"
#include "database.h"
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

Statement prepare(const Session& session, const char* szSql) {
  sqlite3_stmt* pStatement = nullptr;
  if (sqlite3_prepare_v2(session.db(), szSql, -1, &pStatement, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("cannot list the tasks: {}", sqlite3_errmsg(session.db())));
  }
  return Statement(pStatement);
}

/// \return false behind the last row.
bool step(const Session& session, const Statement& statement) {
  const int iCode = sqlite3_step(statement.get());
  if (iCode != SQLITE_ROW && iCode != SQLITE_DONE) {
    throw Failure(fmt::format("cannot list the tasks: {}", sqlite3_errmsg(session.db())));
  }
  return iCode == SQLITE_ROW;
}

/// Begins anew with another parameter, which is borrowed.
void bind(const Statement& statement, const std::string& strText) {
  sqlite3_reset(statement.get());
  sqlite3_bind_text(statement.get(), 1, strText.data(), static_cast<int>(strText.size()), SQLITE_STATIC);
}

std::vector<std::string> names(const Session& session, const Statement& statement) {
  std::vector<std::string> vecNames;
  while (step(session, statement)) {
    vecNames.push_back(columnText(statement, 0));
  }
  return vecNames;
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

Json::Value listRelations(Session& session, const std::set<std::string>& setNames) {
  const Statement statement = prepare(
      session,
      "SELECT event, depend_on_task, enable, owner, run_the_same_time, time_limit, owner_name, output_limit FROM task "
      "WHERE task_name = ?");
  enum Column { EVENT, DEPEND, ENABLE, OWNER, SAME_TIME, LIMIT, OWNER_NAME, OUTPUT };
  Json::Value jTasks(Json::arrayValue);
  for (const std::string& strName : setNames) {
    bind(statement, strName);
    if (step(session, statement)) {
      Json::Value jTask(Json::objectValue);
      jTask["task_name"] = strName;
      jTask["event"] = columnText(statement, EVENT);
      jTask["depend_on_task"] = columnText(statement, DEPEND);
      jTask["enable"] = sqlite3_column_int(statement.get(), ENABLE) != 0;
      jTask["owner"] = static_cast<Json::Int64>(sqlite3_column_int64(statement.get(), OWNER));
      jTask["run_the_same_time"] = sqlite3_column_int(statement.get(), SAME_TIME) != 0;
      jTask["time_limit"] = static_cast<Json::Int64>(sqlite3_column_int64(statement.get(), LIMIT));
      jTask["owner_name"] = columnText(statement, OWNER_NAME);
      if (sqlite3_column_type(statement.get(), OUTPUT) != SQLITE_NULL) {
        jTask["output_limit"] = static_cast<Json::Int64>(sqlite3_column_int64(statement.get(), OUTPUT));
      }
      jTasks.append(std::move(jTask));
    }
  }
  return jTasks;
}

std::vector<std::string> taskNames(Session& session) {
  return names(session, prepare(session, "SELECT task_name FROM task ORDER BY task_name"));
}

std::vector<std::string> taskNames(Session& session, const std::string& strEvent) {
  const Statement statement = prepare(session, "SELECT task_name FROM task WHERE event = ? ORDER BY task_name");
  bind(statement, strEvent);
  return names(session, statement);
}

std::set<std::string> eventNames(Session& session) {
  const std::vector<std::string> vecNames = names(session, prepare(session, "SELECT DISTINCT event FROM task"));
  return {vecNames.begin(), vecNames.end()};
}

std::vector<WaitingTask> waitingTasks(Session& session) {
  const Statement statement = prepare(session, "SELECT task_name, depend_on_task FROM task WHERE depend_on_task <> ''");
  std::vector<WaitingTask> vecTasks;
  while (step(session, statement)) {
    vecTasks.push_back({columnText(statement, 0), columnText(statement, 1)});
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
    std::vector<std::string> vecNames;
    for (const Json::Value& jOther : listTasks(session)) {
      vecNames.push_back(textOf(jOther, "task_name"));
    }
    throw Failure(fmt::format("there is no task \"{}\"{}", strTask, didYouMean(strTask, vecNames)));
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
