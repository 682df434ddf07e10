// Databases that refuse: every operation says so once and changes nothing.

#include <cstdlib>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

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

// Leaves the child with 0 when the read-only file system is answered as it must be, with the failed step otherwise.
int writeOnReadOnlyFileSystem(const std::string& strFolder) {
  if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("tmpfs", strFolder.c_str(), "tmpfs", 0, "mode=700") != 0) {
    return 77;
  }
  const std::string strPath = strFolder + "/ro.db";
  const char* const szSql = "CREATE TABLE IF NOT EXISTS task (task_name TEXT PRIMARY KEY); PRAGMA user_version = 1;";
  const Json::Value jDefinitions =
      parse(R"({"task":{"schema":1,"key":"task_name","columns":[{"name":"task_name","type":"text"}]}})");
  Json::Value jOut;
  {
    Database pDb = openDatabase(strPath);
    OrvaJsonDbApi api(pDb.get(), "task", jDefinitions, szSql);
    if (api.recCreate(parse(R"({"task_name":"a"})"), jOut) != 0) {
      return 1;
    }
  }
  if (mount(nullptr, strFolder.c_str(), nullptr, MS_REMOUNT | MS_RDONLY, nullptr) != 0) {
    return 77;
  }
  sqlite3* pDb = nullptr;
  sqlite3_open(strPath.c_str(), &pDb);
  OrvaJsonDbApi api(pDb, "task", jDefinitions, szSql);
  takeLogLines();
  const bool blRead = api.recGetOne(parse(R"({"task_name":"a"})"), jOut) == 0 && jOut["task_name"] == "a";
  const bool blRefused = api.recCreate(parse(R"({"task_name":"b"})"), jOut) == -1 && KLIBCErrGet() == EROFS;
  const std::vector<std::string> expected{
      "3 orvaplatform: record store, table task, recCreate: attempt to write a readonly database"};
  return !blRead ? 2 : !blRefused ? 3 : takeLogLines() != expected ? 4 : 0;
}

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

TEST_F(Failures, ReadOnlyFileSystemReadsAndRefusesWrites) {
  const std::string strFolder = m_folder.path("ro");
  ASSERT_EQ(0, mkdir(strFolder.c_str(), 0700));
  const pid_t pid = fork();
  ASSERT_GE(pid, 0);
  if (pid == 0) {
    _exit(writeOnReadOnlyFileSystem(strFolder));
  }
  int iStatus = 0;
  ASSERT_EQ(pid, waitpid(pid, &iStatus, 0));
  if (WIFEXITED(iStatus) && WEXITSTATUS(iStatus) == 77) {
    GTEST_SKIP() << "no right to mount";
  }
  EXPECT_TRUE(WIFEXITED(iStatus));
  EXPECT_EQ(0, WEXITSTATUS(iStatus));
}

TEST_F(Failures, FullDiskRefusesTheRecordAndKeepsTheOthers) {
  add(task("a"));
  runSql(m_pDb.get(), "PRAGMA max_page_count = 20");
  Json::Value jTask = task("b");
  jTask["operation"] = std::string(200'000, 'x');
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recCreate(jTask, jOut));
  expectFailure("task, recCreate: database or disk is full");
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
  EXPECT_THAT(takeLogLines(),
              ElementsAre("3 orvaplatform: record store, table task, row a, column event: the content is no integer "
                          "value and is left out",
                          "3 orvaplatform: record store, table task, row a, column owner: the content is no boolean "
                          "value and is left out",
                          "3 orvaplatform: record store, table task, row a, column time_limit: the content is no text "
                          "value and is left out"));
  EXPECT_TRUE(jOut["event"].isNull());
  EXPECT_EQ(-1, api.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"time_limit":"long"})")));
  expectFailure("task, recUpdateByFilter: cannot store TEXT value in INTEGER column task.time_limit");
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
  for (std::size_t iByte = 4096; iByte < strBytes.size(); ++iByte) {
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
