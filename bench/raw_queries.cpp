#include "raw_queries.h"

#include <benchmark/benchmark.h>
#include <sqlite3.h>

#include "database.h"

namespace {

const std::string TASK_COLUMNS =
    "task_name,event,depend_on_task,enable,owner,run_the_same_time,notify_enable,notify_if_error,time_limit,"
    "last_start_time,last_stop_time,operation_type,status,last_exit_info,notify_mail,description,operation";
const std::string RUN_COLUMNS =
    "result_id,task_name,start_time,stop_time,pid,event_fire_time,trigger_event,exit_info,run_time_env,extra,boot_id,"
    "start_ticks";

class Query {
public:
  Query(sqlite3* pDb, const std::string& strSql) {
    const int cbSql = static_cast<int>(strSql.size()) + 1;
    require(sqlite3_prepare_v2(pDb, strSql.c_str(), cbSql, &m_pStatement, nullptr) == SQLITE_OK, strSql.c_str());
  }
  ~Query() { sqlite3_finalize(m_pStatement); }

  Query(const Query&) = delete;
  Query& operator=(const Query&) = delete;

  Query& number(sqlite3_int64 iValue) {
    sqlite3_bind_int64(m_pStatement, ++m_iBound, iValue);
    return *this;
  }

  Query& text(const std::string& strValue) {
    sqlite3_bind_text64(m_pStatement, ++m_iBound, strValue.data(), strValue.size(), SQLITE_STATIC, SQLITE_UTF8);
    return *this;
  }

  int run() {
    int cRows = 0;
    while (sqlite3_step(m_pStatement) == SQLITE_ROW) {
      lookAtColumns();
      ++cRows;
    }
    return cRows;
  }

private:
  void lookAtColumns() {
    const int cColumns = sqlite3_column_count(m_pStatement);
    for (int iColumn = 0; iColumn < cColumns; ++iColumn) {
      switch (sqlite3_column_type(m_pStatement, iColumn)) {
        case SQLITE_INTEGER:
          benchmark::DoNotOptimize(sqlite3_column_int64(m_pStatement, iColumn));
          break;
        case SQLITE_TEXT:
          benchmark::DoNotOptimize(sqlite3_column_text(m_pStatement, iColumn));
          benchmark::DoNotOptimize(sqlite3_column_bytes(m_pStatement, iColumn));
          break;
        default:
          break;
      }
    }
  }

  sqlite3_stmt* m_pStatement = nullptr;
  int m_iBound = 0;
};

const std::string NAME = "task0";
const std::string EMPTY_OBJECT = "{}";

}  // namespace

void rawInsertRun(sqlite3* pDb) {
  static const std::string strSql =
      "INSERT INTO task_result(task_name,start_time,pid,event_fire_time,trigger_event,exit_info,run_time_env,extra) "
      "VALUES(?,?,?,?,?,?,?,?) RETURNING " +
      RUN_COLUMNS;
  static const std::string strEvent = "bootup";
  Query query(pDb, strSql);
  query.text(NAME).number(1795168621).number(4711).number(1795168620).text(strEvent);
  query.text(EMPTY_OBJECT).text(EMPTY_OBJECT).text(EMPTY_OBJECT);
  require(query.run() == 1, "raw insert");
}

void rawUpdateWholeTask(sqlite3* pDb) {
  static const std::string strSql =
      "UPDATE task SET task_name=?,event=?,depend_on_task=?,enable=?,owner=?,run_the_same_time=?,notify_enable=?,"
      "notify_if_error=?,time_limit=?,last_start_time=?,last_stop_time=?,operation_type=?,status=?,last_exit_info=?,"
      "notify_mail=?,description=?,operation=? WHERE task_name=?";
  static const Json::Value jTask = wholeTask(NAME, "");
  static const std::string strEvent = jTask["event"].asString();
  static const std::string strType = jTask["operation_type"].asString();
  static const std::string strStatus = R"({"running":[]})";
  static const std::string strExit = R"({"exit_code":0,"exit_type":"normal"})";
  static const std::string strMail = jTask["notify_mail"].asString();
  static const std::string strDescription = jTask["description"].asString();
  static const std::string strScript = jTask["operation"].asString();
  static const std::string strNone;
  Query query(pDb, strSql);
  query.text(NAME).text(strEvent).text(strNone).number(1).number(1000).number(0).number(1).number(0).number(0);
  query.number(1795168621).number(1795168622).text(strType).text(strStatus).text(strExit).text(strMail);
  query.text(strDescription).text(strScript).text(NAME);
  query.run();
  require(sqlite3_changes(pDb) == 1, "raw whole update");
}

void rawUpdateStartTime(sqlite3* pDb, int iTime) {
  static const std::string strSql = "UPDATE task SET last_start_time=? WHERE task_name=?";
  Query query(pDb, strSql);
  query.number(iTime).text(NAME).run();
  require(sqlite3_changes(pDb) == 1, "raw point update");
}

void rawReadTask(sqlite3* pDb) {
  static const std::string strSql = "SELECT " + TASK_COLUMNS + " FROM task WHERE task_name=?";
  Query query(pDb, strSql);
  require(query.text(NAME).run() == 1, "raw point read");
}

int rawListRuns(sqlite3* pDb) {
  static const std::string strSql = "SELECT " + RUN_COLUMNS + " FROM task_result WHERE task_name=? ORDER BY result_id";
  Query query(pDb, strSql);
  return query.text(NAME).run();
}

int rawListByPattern(sqlite3* pDb, const std::string& strWhere) {
  Query query(pDb, "SELECT " + TASK_COLUMNS + " FROM task WHERE " + strWhere + " ORDER BY task_name");
  return query.run();
}
