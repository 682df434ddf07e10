// Failing databases: every operation logs one line and changes nothing.

#include <cstdio>

#include "record_store_fixture.h"

using testing::ElementsAre;

namespace {

class Failures : public RecordStore {
protected:
  // Each write operation fails with this reason.
  void expectWritesRefused(OrvaJsonDbApi& api, const std::string& strReason) {
    Json::Value jOut = "untouched";
    EXPECT_EQ(-1, api.recCreate(task("b"), jOut));
    expectFailure("task, recCreate: " + strReason);
    EXPECT_EQ(-1, api.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"enable":true})")));
    expectFailure("task, recUpdateByFilter: " + strReason);
    EXPECT_EQ(-1, api.recDelete(parse(R"({"task_name":"a"})"), true));
    expectFailure("task, recDelete: " + strReason);
    EXPECT_EQ("untouched", jOut.asString());
  }

  void expectReadsRefused(OrvaJsonDbApi& api, const std::string& strReason) {
    Json::Value jOut = "untouched";
    for (const char* szFilter : {"{}", R"({"task_name":"a"})", R"({"orvaSqlWhereFilter":"1"})"}) {
      EXPECT_EQ(-1, api.recGetOne(parse(szFilter), jOut));
      expectFailure("task, recGetOne: " + strReason);
      EXPECT_EQ(-1, api.recList(parse(szFilter), jOut));
      expectFailure("task, recList: " + strReason);
    }
    EXPECT_EQ("untouched", jOut.asString());
  }
};

}  // namespace

TEST_F(Failures, ReadOnlyConnectionReadsAndRefusesWrites) {
  add(task("a"));
  Database pReader = openDatabase(m_folder.path("test.db"), SQLITE_OPEN_READONLY);
  OrvaJsonDbApi api(pReader.get(), "task", installedDefinitions(), installedSql());
  Json::Value jOut;
  EXPECT_EQ(0, api.recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ("a", jOut["task_name"].asString());
  expectWritesRefused(api, "attempt to write a readonly database");
  EXPECT_EQ(EROFS, KLIBCErrGet());
}

TEST_F(Failures, FullDiskRefusesTheRecordAndKeepsTheOthers) {
  add(task("a"));
  runSql(m_pDb.get(), "PRAGMA max_page_count = 20");
  Json::Value jTask = task("b");
  jTask["operation"] = std::string(200'000, 'x');
  Json::Value jOut;
  const TurnedClock clock;
  EXPECT_EQ(-1, m_tasks.recCreate(jTask, jOut));
  expectFailure("task, recCreate: database or disk is full (gave up after 10 seconds)");
  EXPECT_EQ(ENOSPC, KLIBCErrGet());
  add(task("c"));
  EXPECT_EQ("a,c", queryText(m_pDb.get(), "SELECT group_concat(task_name) FROM task"));
  EXPECT_EQ("ok", queryText(m_pDb.get(), "PRAGMA integrity_check"));
}

TEST_F(Failures, TextLongerThanSqliteTakesIsRefused) {
  sqlite3_limit(m_pDb.get(), SQLITE_LIMIT_LENGTH, 1000);
  Json::Value jTask = task("b");
  jTask["operation"] = std::string(2000, 'x');
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recCreate(jTask, jOut));
  expectFailure("task, recCreate: string or blob too big");
  EXPECT_EQ(E2BIG, KLIBCErrGet());
}

TEST_F(Failures, MissingTableIsNamedByEveryOperation) {
  runSql(m_pDb.get(), "DROP TABLE task_result; DROP TABLE task");
  expectWritesRefused(m_tasks, "no such table: main.task");
  expectReadsRefused(m_tasks, "no such table: main.task");
}

TEST_F(Failures, ColumnThatTheTableLacksIsNamedByEveryOperation) {
  add(task("a"));
  Json::Value jDefinitions = installedDefinitions();
  jDefinitions["task"]["columns"].append(parse(R"({"name":"colour","type":"text"})"));
  OrvaJsonDbApi api(m_pDb.get(), "task", jDefinitions, installedSql());
  expectReadsRefused(api, "no such column: colour");
  Json::Value jOut;
  EXPECT_EQ(-1, api.recCreate(task("b"), jOut));
  expectFailure("task, recCreate: no such column: colour");
  EXPECT_EQ(-1, api.recUpdateByFilter(parse("{}"), parse(R"({"colour":"red"})")));
  expectFailure("task, recUpdateByFilter: no such column: colour");
}

TEST_F(Failures, ColumnOfAnotherTypeThanDefinedIsRefusedOrReadAsDamage) {
  add(task("a", R"({"event":"bootup"})"));
  Json::Value jDefinitions = installedDefinitions();
  for (Json::Value& jColumn : jDefinitions["task"]["columns"]) {
    jColumn["type"] = jColumn["name"] == "event" ? "integer" : jColumn["type"].asString();
    jColumn["type"] = jColumn["name"] == "owner" ? "boolean" : jColumn["type"].asString();
    jColumn["type"] = jColumn["name"] == "time_limit" ? "text" : jColumn["type"].asString();
  }
  OrvaJsonDbApi api(m_pDb.get(), "task", jDefinitions, installedSql());
  Json::Value jOut;
  EXPECT_EQ(0, api.recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_THAT(
      takeLogLines(),
      ElementsAre("3 orvaplatform: record store, table task, row a, column event: the value is not of type "
                  "integer and is ignored",
                  "3 orvaplatform: record store, table task, row a, column owner: the value is not of type "
                  "boolean and is ignored",
                  "3 orvaplatform: record store, table task, row a, column time_limit: the value is not of type "
                  "text and is ignored"));
  EXPECT_TRUE(jOut["event"].isNull());
  EXPECT_EQ(-1, api.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"time_limit":"long"})")));
  expectFailure("task, recUpdateByFilter: cannot store TEXT value in INTEGER column task.time_limit");
}

TEST_F(Failures, ViewInTheTablesPlaceIsReadAndRefusesWrites) {
  add(task("a"));
  runSql(m_pDb.get(),
         "PRAGMA foreign_keys = OFF; ALTER TABLE task RENAME TO kept; CREATE VIEW task AS SELECT * FROM kept");
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ("a", jOut["task_name"].asString());
  jOut = "untouched";
  EXPECT_EQ(-1, m_tasks.recCreate(task("b"), jOut));
  expectFailure("task, recCreate: the table did not store the record");
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"enable":true})")));
  expectFailure("task, recUpdateByFilter: cannot modify task because it is a view");
  EXPECT_EQ(-1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), true));
  expectFailure("task, recDelete: cannot modify task because it is a view");
  EXPECT_EQ("untouched", jOut.asString());
}

TEST_F(Failures, ColumnThatTheDefinitionLacksIsLeftAlone) {
  add(task("a", R"({"event":"bootup","description":"kept"})"));
  Json::Value jDefinitions = installedDefinitions();
  Json::Value jColumns(Json::arrayValue);
  for (const Json::Value& jColumn : jDefinitions["task"]["columns"]) {
    if (jColumn["name"] != "description" && jColumn["name"] != "owner") {
      jColumns.append(jColumn);
    }
  }
  jDefinitions["task"]["columns"] = jColumns;
  OrvaJsonDbApi api(m_pDb.get(), "task", jDefinitions, installedSql());
  Json::Value jOut;
  ASSERT_EQ(0, api.recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_FALSE(jOut.isMember("description"));
  jOut["event"] = "shutdown";
  EXPECT_EQ(1, api.recUpdateByFilter(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ("shutdown kept 1000",
            queryText(m_pDb.get(), "SELECT event || ' ' || description || ' ' || owner FROM task"));
  EXPECT_EQ(-1, api.recCreate(task("b"), jOut));
  expectFailure("task, recCreate: NOT NULL constraint failed: task.owner");
}

TEST_F(Failures, RecordThatATriggerDropsIsRefused) {
  runSql(m_pDb.get(), "CREATE TRIGGER t BEFORE INSERT ON task BEGIN SELECT RAISE(IGNORE); END");
  Json::Value jOut = "untouched";
  EXPECT_EQ(-1, m_tasks.recCreate(task("a"), jOut));
  expectFailure("task, recCreate: the table did not store the record");
  EXPECT_EQ("untouched", jOut.asString());
}

TEST_F(Failures, TableThatIsReplacedWhileTheHandleLivesIsReadAnew) {
  add(task("a"));
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  Database pOther = openDatabase(m_folder.path("test.db"));
  runSql(pOther.get(), "ALTER TABLE task ADD COLUMN extra_column TEXT; CREATE INDEX i ON task (owner)");
  EXPECT_EQ(0, m_tasks.recList(parse(R"({"owner":1000})"), jOut));
  EXPECT_EQ(1U, jOut.size());
}

TEST_F(Failures, DamagedFileIsAFailureNotACrash) {
  add(task("a"));
  runSql(m_pDb.get(), "PRAGMA wal_checkpoint(TRUNCATE)");
  const std::string strPath = m_folder.path("damaged.db");
  std::string strBytes = readFile(m_folder.path("test.db"));
  const std::size_t iPage =
      std::stoul(queryText(m_pDb.get(), "SELECT rootpage FROM sqlite_schema WHERE name = 'task'"));
  for (std::size_t iByte = (iPage - 1) * 4096; iByte < iPage * 4096; ++iByte) {
    strBytes[iByte] = static_cast<char>(iByte * 131);
  }
  FILE* pFile = fopen(strPath.c_str(), "w");
  ASSERT_NE(nullptr, pFile);
  ASSERT_EQ(strBytes.size(), fwrite(strBytes.data(), 1, strBytes.size(), pFile));
  ASSERT_EQ(0, fclose(pFile));
  Database pDb = openDatabase(strPath);
  OrvaJsonDbApi api(pDb.get(), "task", installedDefinitions(), installedSql());
  expectReadsRefused(api, "database disk image is malformed");
  EXPECT_EQ(EIO, KLIBCErrGet());
}
