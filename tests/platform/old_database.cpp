#include "old_database.h"

#include "record_store_fixture.h"

namespace {

const char* const OLD_TABLES = R"(
PRAGMA journal_mode = WAL;
CREATE TABLE task (
  task_name         TEXT    NOT NULL PRIMARY KEY CHECK (task_name <> ''),
  event             TEXT    NOT NULL DEFAULT '',
  depend_on_task    TEXT    NOT NULL DEFAULT '',
  enable            INTEGER NOT NULL DEFAULT 0 CHECK (enable IN (0, 1)),
  owner             INTEGER NOT NULL CHECK (typeof(owner) = 'integer' AND owner BETWEEN 0 AND 4294967294),
  run_the_same_time INTEGER NOT NULL DEFAULT 0 CHECK (run_the_same_time IN (0, 1)),
  notify_enable     INTEGER NOT NULL DEFAULT 0 CHECK (notify_enable IN (0, 1)),
  notify_if_error   INTEGER NOT NULL DEFAULT 0 CHECK (notify_if_error IN (0, 1)),
  last_start_time   INTEGER,
  last_stop_time    INTEGER,
  operation_type    TEXT    NOT NULL DEFAULT 'script' CHECK (operation_type <> ''),
  status            TEXT,
  last_exit_info    TEXT,
  notify_mail       TEXT    NOT NULL DEFAULT '',
  operation         TEXT    NOT NULL DEFAULT ''
) STRICT;
CREATE TABLE task_result (
  result_id       INTEGER PRIMARY KEY AUTOINCREMENT,
  task_name       TEXT    NOT NULL REFERENCES task (task_name) ON UPDATE CASCADE ON DELETE CASCADE,
  start_time      INTEGER,
  stop_time       INTEGER,
  pid             INTEGER,
  event_fire_time INTEGER,
  trigger_event   TEXT,
  exit_info       TEXT,
  run_time_env    TEXT,
  extra           TEXT
) STRICT;
)";

// Includes odd rows: texts with any bytes, a null, a script of several pages.
const char* const OLD_ROWS = R"(
BEGIN;
INSERT INTO task (task_name, event, enable, owner, last_start_time, status, operation, notify_mail) VALUES
  ('backup', 'bootup', 1, 1000, 1795168621, '{"running":[4711]}', replace(hex(zeroblob(20000)), '00', 'line' || x'0a'),
   'a@example.org'),
  ('it''s "odd" ' || x'c3bc', '', 0, 4294967294, NULL, 'null', '', '');
WITH RECURSIVE number (n) AS (SELECT 3 UNION ALL SELECT n + 1 FROM number WHERE n < 12)
  INSERT INTO task (task_name, owner, depend_on_task) SELECT 'task' || n, n, '[backup]' FROM number;
WITH RECURSIVE number (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number WHERE n < 31)
  INSERT INTO task_result (task_name, start_time, stop_time, pid, exit_info)
    SELECT iif(n % 2, 'backup', 'task3'), n, iif(n % 5, n + 1, NULL), 100 + n, '{"exit_code":0,"exit_type":"normal"}'
    FROM number;
DELETE FROM task_result WHERE result_id IN (7, 31);
COMMIT;
)";

const char* const TASK_COLUMNS =
    "task_name, event, depend_on_task, enable, owner, run_the_same_time, notify_enable, notify_if_error, "
    "last_start_time, last_stop_time, operation_type, status, last_exit_info, notify_mail, operation";
const char* const RESULT_COLUMNS =
    "result_id, task_name, start_time, stop_time, pid, event_fire_time, trigger_event, exit_info, run_time_env, extra";

std::string contentOf(sqlite3* pDb, const std::string& strTable, const std::string& strColumns) {
  std::string strContent;
  const auto take = [](void* pContent, int cColumns, char** values, char**) {
    for (int iColumn = 0; iColumn < cColumns; ++iColumn) {
      *static_cast<std::string*>(pContent) += std::string(values[iColumn] == nullptr ? "NULL" : values[iColumn]) + "|";
    }
    return 0;
  };
  EXPECT_EQ(SQLITE_OK, sqlite3_exec(pDb, ("SELECT " + strColumns + " FROM " + strTable + " ORDER BY 1").c_str(), take,
                                    &strContent, nullptr))
      << sqlite3_errmsg(pDb);
  return strContent;
}

// The defaults of the newer columns.
Json::Value defaultsOf(const char* szTable) {
  const Database pDb = openDatabase(":memory:");
  OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
  OrvaJsonDbApi api(pDb.get(), szTable, installedDefinitions(), installedSql());
  Json::Value jDefaults;
  EXPECT_EQ(0, tasks.recCreate(parse(R"({"task_name":"backup","owner":0})"), jDefaults));
  if (std::string(szTable) != "task") {
    EXPECT_EQ(0, api.recCreate(parse(R"({"task_name":"backup"})"), jDefaults));
  }
  return jDefaults;
}

// The rows as the store reads them without a migration, with only the old columns, plus the defaults of the new
// columns.
Json::Value asRead(const char* szTable) {
  const Database pDb = openDatabase(":memory:");
  makeOldTables(pDb.get());
  Json::Value jDefinitions = installedDefinitions();
  Json::Value jColumns(Json::arrayValue);
  for (const Json::Value& jColumn : jDefinitions[szTable]["columns"]) {
    const std::string strColumns =
        std::string(", ") + (std::string(szTable) == "task" ? TASK_COLUMNS : RESULT_COLUMNS) + ",";
    if (strColumns.find(", " + jColumn["name"].asString() + ",") != std::string::npos) {
      jColumns.append(jColumn);
    }
  }
  jDefinitions[szTable]["columns"] = jColumns;
  OrvaJsonDbApi api(pDb.get(), szTable, jDefinitions, "");
  const Json::Value jDefaults = defaultsOf(szTable);
  Json::Value jRows;
  EXPECT_EQ(0, api.recList(parse("{}"), jRows));
  for (Json::Value& jRow : jRows) {
    EXPECT_EQ(0, ORVA_JSON_DB::jsonCopyMember(jRow, jDefaults, false));
  }
  return jRows;
}

}  // namespace

void makeOldTables(sqlite3* pDb) {
  runSql(pDb, OLD_TABLES);
  runSql(pDb, OLD_ROWS);
}

void makeOldDatabase(const std::string& strPath) {
  makeOldTables(openDatabase(strPath).get());
}

void expectOldDatabase(const std::string& strPath) {
  const Database pDb = openDatabase(strPath);
  const Database pOld = openDatabase(":memory:");
  makeOldTables(pOld.get());
  EXPECT_EQ("0", queryText(pDb.get(), "PRAGMA user_version"));
  EXPECT_EQ("ok", queryText(pDb.get(), "PRAGMA integrity_check"));
  const char* const szSchema = "SELECT group_concat(sql) FROM (SELECT sql FROM sqlite_schema ORDER BY name)";
  EXPECT_EQ(queryText(pOld.get(), szSchema), queryText(pDb.get(), szSchema));
  EXPECT_EQ(contentOf(pOld.get(), "task", TASK_COLUMNS), contentOf(pDb.get(), "task", TASK_COLUMNS));
  EXPECT_EQ(contentOf(pOld.get(), "task_result", RESULT_COLUMNS), contentOf(pDb.get(), "task_result", RESULT_COLUMNS));
}

Json::Value oldTasksAsRead() {
  return asRead("task");
}

Json::Value oldResultsAsRead() {
  Json::Value jRuns = asRead("task_result");
  // The owner of the task at the migration.
  for (Json::Value& jRun : jRuns) {
    jRun["owner"] = jRun["task_name"] == "backup" ? 1000 : 3;
  }
  return jRuns;
}
