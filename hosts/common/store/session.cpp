#include "session.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "common/text/suggestion.h"

namespace Host {

namespace {

constexpr char SEE_LOG[] = "the reason is in the system log (--log-stdout shows it here)";

void checkStoreExists() {
  if (access(DATABASE_PATH, F_OK) == 0) {
    return;
  }
  if (errno == ENOENT) {
    throw Failure(fmt::format("there is no store yet ({} is missing): run 'eorva init' first", DATABASE_PATH));
  }
  throw Failure(fmt::format("cannot reach {}: {}", DATABASE_PATH, std::strerror(errno)));
}

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

}  // namespace

Session::Session(Store store) {
  if (store == Store::MUST_EXIST) {
    checkStoreExists();
  }
  try {
    open();
  } catch (...) {
    close();
    throw;
  }
}

Session::~Session() {
  close();
}

void Session::open() {
  Json::Value jConfig;
  if (initConfig("task", jConfig, &m_pDb, &m_pApi) < 0 ||
      initConfig("task_result", jConfig, &m_pDb, &m_pApiResult) < 0) {
    throw Failure(fmt::format("cannot open the store {}: {}", DATABASE_PATH, SEE_LOG));
  }
  // A connection that SQLite failed to open is handed over all the same.
  const int iCode = sqlite3_errcode(m_pDb);
  if (iCode == SQLITE_CANTOPEN || iCode == SQLITE_NOTADB || iCode == SQLITE_NOMEM) {
    throw Failure(fmt::format("cannot open the store {}: {}", DATABASE_PATH, sqlite3_errmsg(m_pDb)));
  }
}

void Session::close() {
  if (m_pDb != nullptr && sqlite3_get_autocommit(m_pDb) == 0) {
    sqlite3_exec(m_pDb, "ROLLBACK;", nullptr, nullptr, nullptr);
  }
  freeConfig(&m_pDb, &m_pApi, &m_pApiResult);
}

WriteLock::WriteLock(Session& session, std::chrono::milliseconds limit) : m_pDb(session.db()) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  auto pause = 1ms;
  int iCode = SQLITE_OK;
  while ((iCode = sqlite3_exec(m_pDb, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr)) == SQLITE_BUSY &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, 100ms);
  }
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot lock the store {}: {}", DATABASE_PATH, sqlite3_errstr(iCode)));
  }
}

WriteLock::~WriteLock() {
  if (sqlite3_get_autocommit(m_pDb) == 0) {
    sqlite3_exec(m_pDb, "ROLLBACK;", nullptr, nullptr, nullptr);
  }
}

void WriteLock::commit() {
  const int iCode = sqlite3_exec(m_pDb, "COMMIT;", nullptr, nullptr, nullptr);
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot write to the store {}: {}", DATABASE_PATH, sqlite3_errstr(iCode)));
  }
}

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

Json::Value findTask(Session& session, const std::string& strTask) {
  Json::Value jFilter(Json::objectValue);
  jFilter["task_name"] = strTask;
  return getOne(session.tasks(), jFilter, fmt::format("the task \"{}\"", strTask));
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

Json::Value listRuns(Session& session, const std::string& strWhere, unsigned cNewest) {
  Json::Value jFilter(Json::objectValue);
  // The store orders what it gives by the key and sets no limit; a query inside the clause may.
  jFilter["orvaSqlWhereFilter"] =
      cNewest == 0
          ? strWhere
          : fmt::format("result_id in (select result_id from task_result where {} order by result_id desc limit {})",
                        strWhere, cNewest);
  return list(session.runs(), jFilter, "runs");
}

Json::Value requireRun(Session& session, Json::Int64 iResult) {
  Json::Value jFilter(Json::objectValue);
  jFilter["result_id"] = iResult;
  Json::Value jRun = getOne(session.runs(), jFilter, fmt::format("run {}", iResult));
  if (!jRun.isObject()) {
    throw Failure(fmt::format("there is no run {}", iResult));
  }
  return jRun;
}

Json::Value schedulerConfig() {
  Json::Value jFilter(Json::objectValue);
  jFilter["type"] = CONFIG_TYPE;
  Json::Value jConfig(Json::objectValue);
  if (configGet(jFilter, jConfig) < 0) {
    throw Failure(fmt::format("cannot read the configuration {}: it is no JSON object", CONFIG_PATH));
  }
  return jConfig.isObject() ? jConfig : Json::Value(Json::objectValue);
}

}  // namespace Host
