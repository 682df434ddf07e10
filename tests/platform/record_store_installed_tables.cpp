// The installed definitions and the installed SQL describe the same tables, and the tables enforce their constraints.

#include <map>

#include "record_store_fixture.h"

using testing::HasSubstr;
using testing::Not;

namespace {

class InstalledTables : public RecordStore {
protected:
  std::map<std::string, std::string> columnsOf(const std::string& strTable) {
    std::map<std::string, std::string> columns;
    const auto take = [](void* pColumns, int, char** values, char**) {
      (*static_cast<std::map<std::string, std::string>*>(pColumns))[values[1]] = values[2];
      return 0;
    };
    sqlite3_exec(m_pDb.get(), ("PRAGMA table_info(" + strTable + ")").c_str(), take, &columns, nullptr);
    return columns;
  }

  std::string plan(const std::string& strSql) {
    std::string strPlan;
    const auto take = [](void* pPlan, int, char** values, char**) {
      *static_cast<std::string*>(pPlan) += values[3];
      return 0;
    };
    sqlite3_exec(m_pDb.get(), ("EXPLAIN QUERY PLAN " + strSql).c_str(), take, &strPlan, nullptr);
    return strPlan;
  }

  void expectRefusedSql(const std::string& strSql, const std::string& strReason) {
    EXPECT_EQ(SQLITE_CONSTRAINT, sqlite3_exec(m_pDb.get(), strSql.c_str(), nullptr, nullptr, nullptr)) << strSql;
    EXPECT_THAT(sqlite3_errmsg(m_pDb.get()), HasSubstr(strReason)) << strSql;
  }
};

}  // namespace

TEST_F(InstalledTables, DefinitionsAndSqlAgreeOnEveryColumn) {
  const std::map<std::string, std::string> storage{
      {"integer", "INTEGER"}, {"boolean", "INTEGER"}, {"text", "TEXT"}, {"json", "TEXT"}};
  for (const char* szTable : {"task", "task_result", "firing", "firing_task"}) {
    std::map<std::string, std::string> expected;
    for (const Json::Value& jColumn : installedDefinitions()[szTable]["columns"]) {
      expected[jColumn["name"].asString()] = storage.at(jColumn["type"].asString());
    }
    EXPECT_EQ(expected, columnsOf(szTable));
  }
}

TEST_F(InstalledTables, DefinitionsAndSqlAgreeOnTheSchemaVersion) {
  for (const char* szTable : {"task", "task_result", "firing", "firing_task"}) {
    EXPECT_EQ(queryText(m_pDb.get(), "PRAGMA user_version"), text(installedDefinitions()[szTable]["schema"]));
  }
}

TEST_F(InstalledTables, HaveEveryMemberOfTheRecords) {
  const auto task = columnsOf("task");
  for (const char* szMember : {"task_name", "event", "enable", "depend_on_task", "operation_type", "operation", "owner",
                               "run_the_same_time", "notify_enable", "notify_if_error", "notify_mail", "status",
                               "last_start_time", "last_stop_time", "last_exit_info", "description", "time_limit"}) {
    EXPECT_EQ(1U, task.count(szMember)) << szMember;
  }
  const auto result = columnsOf("task_result");
  for (const char* szMember : {"result_id", "task_name", "start_time", "stop_time", "pid", "exit_info",
                               "event_fire_time", "trigger_event", "run_time_env", "extra", "boot_id", "start_ticks"}) {
    EXPECT_EQ(1U, result.count(szMember)) << szMember;
  }
  for (const char* szTransient : {"result", "strExitCode_tmp", "strScriptName_tmp", "strOutputPath_tmp"}) {
    EXPECT_EQ(0U, task.count(szTransient)) << szTransient;
  }
}

TEST_F(InstalledTables, EveryFilterInUseHasAnIndex) {
  for (const char* szQuery : {
           "SELECT * FROM task WHERE task_name = ?",
           "SELECT * FROM task WHERE event = ? AND depend_on_task = ? AND enable = ?",
           "SELECT * FROM task WHERE event = ?",
           "SELECT * FROM task_result WHERE result_id = ?",
           "SELECT * FROM task_result WHERE result_id = ? AND task_name = ?",
           "SELECT * FROM task_result WHERE task_name = ? ORDER BY result_id",
           "SELECT * FROM task_result WHERE task_name = ? AND start_time = ? ORDER BY result_id",
           "SELECT * FROM task_result WHERE trigger_event = ? ORDER BY result_id DESC",
           "SELECT * FROM task_result WHERE trigger_event = ? AND result_id > ? ORDER BY result_id",
           "SELECT * FROM task_result WHERE trigger_event = ? AND event_fire_time = (SELECT max(event_fire_time) "
           "FROM task_result WHERE trigger_event = ?) ORDER BY result_id",
           "SELECT * FROM task_result WHERE stop_time IS NULL ORDER BY result_id",
           "SELECT * FROM firing WHERE event = ? ORDER BY firing_id",
           "SELECT * FROM firing_task WHERE firing_id = ? AND task_name = ?",
           "SELECT * FROM firing_task WHERE task_name = ?",
       }) {
    EXPECT_THAT(plan(szQuery), testing::AnyOf(HasSubstr("USING INDEX"), HasSubstr("USING INTEGER PRIMARY KEY")))
        << szQuery;
    // That index holds the few rows that are looked for, and nothing else.
    EXPECT_THAT(plan(szQuery), testing::AnyOf(Not(HasSubstr("SCAN ")), HasSubstr("INDEX task_result_open"))) << szQuery;
    EXPECT_THAT(plan(szQuery), Not(HasSubstr("TEMP B-TREE"))) << szQuery;
  }
}

TEST_F(InstalledTables, RefuseValuesThatNoRecordMayHold) {
  runSql(m_pDb.get(), "INSERT INTO task (task_name, owner) VALUES ('a', 0), ('b', 4294967294)");
  expectRefusedSql("INSERT INTO task (task_name, owner) VALUES ('', 0)", "task_name <> ''");
  expectRefusedSql("INSERT INTO task (task_name, owner) VALUES (NULL, 0)", "NOT NULL constraint failed");
  expectRefusedSql("INSERT INTO task (owner) VALUES (0)", "NOT NULL constraint failed: task.task_name");
  expectRefusedSql("INSERT INTO task (task_name) VALUES ('c')", "NOT NULL constraint failed: task.owner");
  for (const char* szOwner : {"4294967295", "-1", "'abc'", "''", "0.7", "x'00'", "NULL", "4294967296", "1e300"}) {
    expectRefusedSql(std::string("UPDATE task SET owner = ") + szOwner + " WHERE task_name = 'a'", "owner");
  }
  for (const char* szFlag : {"enable", "run_the_same_time", "notify_enable", "notify_if_error"}) {
    for (const char* szValue : {"2", "-1", "NULL", "'yes'", "0.5"}) {
      expectRefusedSql(std::string("UPDATE task SET ") + szFlag + " = " + szValue, szFlag);
    }
  }
  expectRefusedSql("UPDATE task SET operation_type = ''", "operation_type");
  expectRefusedSql("UPDATE task SET time_limit = -1", "time_limit");
  expectRefusedSql("UPDATE task SET depend_on_task = NULL", "depend_on_task");
  expectRefusedSql("UPDATE task SET operation = x'00'", "cannot store BLOB value in TEXT column task.operation");
  expectRefusedSql("INSERT INTO task_result (task_name) VALUES (NULL)", "NOT NULL constraint failed");
  expectRefusedSql("INSERT INTO task_result (task_name) VALUES ('nobody')", "FOREIGN KEY constraint failed");
}

TEST_F(InstalledTables, SqlGivesTheSameTablesWhenRunByHand) {
  Database pByHand = openDatabase(m_folder.path("by_hand.db"));
  runSql(pByHand.get(), installedSql());
  const char* const szSchema = "SELECT group_concat(sql, ';') FROM sqlite_schema";
  EXPECT_EQ(queryText(m_pDb.get(), szSchema), queryText(pByHand.get(), szSchema));
  EXPECT_EQ("wal", queryText(pByHand.get(), "PRAGMA journal_mode"));
  EXPECT_EQ(std::to_string(installedSchema()), queryText(pByHand.get(), "PRAGMA user_version"));
}
