// The store while another connection uses the database.

#include <algorithm>

#include "record_store_fixture.h"

namespace {

constexpr long long SECOND = 1'000'000'000;

const char* const SMALL_SQL =
    "CREATE TABLE IF NOT EXISTS task (task_name TEXT PRIMARY KEY, owner INTEGER); PRAGMA user_version = 1;";
const char* const SMALL_DEFINITIONS = R"({"task":{"schema":1,"key":"task_name",
    "columns":[{"name":"task_name","type":"text"},{"name":"owner","type":"integer"}]}})";

void rollBack(void* pDb) {
  runSql(static_cast<sqlite3*>(pDb), "ROLLBACK");
}

class Busy : public RecordStore {
protected:
  void SetUp() override {
    add(task("a"));
    m_pOther = openDatabase(m_folder.path("test.db"));
    runSql(m_pOther.get(), "BEGIN IMMEDIATE");
  }

  Database m_pOther;
  TurnedClock m_clock;
};

/// A database in rollback mode, where readers and writers block each other.
class BusyReading : public testing::Test {
protected:
  TempFolder m_folder;
  Database m_pDb = openDatabase(m_folder.path("test.db"));
  OrvaJsonDbApi m_tasks{m_pDb.get(), "task", parse(SMALL_DEFINITIONS), SMALL_SQL};
  Database m_pOther = openDatabase(m_folder.path("test.db"));
  TurnedClock m_clock;
};

}  // namespace

TEST_F(Busy, WriteIsTriedAgainUntilTheOtherHasDone) {
  m_clock.atPause(7, &rollBack, m_pOther.get());
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recCreate(task("b"), jOut));
  EXPECT_EQ("b", jOut["task_name"].asString());
  EXPECT_EQ(7U, m_clock.pauses().size());
}

TEST_F(Busy, EveryWriteGivesUpAfterTenSeconds) {
  Json::Value jOut = "untouched";
  EXPECT_EQ(-1, m_tasks.recCreate(task("b"), jOut));
  expectFailure("task, recCreate: database is locked (gave up after 10 seconds)");
  EXPECT_EQ(10 * SECOND, m_clock.slept());
  EXPECT_EQ(EBUSY, KLIBCErrGet());
  EXPECT_EQ("untouched", jOut.asString());
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse("{}"), parse(R"({"enable":true})")));
  expectFailure("task, recUpdateByFilter: database is locked (gave up after 10 seconds)");
  EXPECT_EQ(20 * SECOND, m_clock.slept());
  EXPECT_EQ(-1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), true));
  expectFailure("task, recDelete: database is locked (gave up after 10 seconds)");
  EXPECT_EQ(30 * SECOND, m_clock.slept());
}

TEST_F(Busy, PausesGrowToALimit) {
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recCreate(task("b"), jOut));
  takeLogLines();
  const std::vector<long long>& pauses = m_clock.pauses();
  ASSERT_GT(pauses.size(), 100U);
  EXPECT_LE(pauses.front(), SECOND / 1000);
  // Each pause is between half of its length and the whole length, and the length doubles.
  EXPECT_GT(pauses[4], pauses[0]);
  for (std::size_t iPause = 10; iPause + 1 < pauses.size(); ++iPause) {
    EXPECT_GE(pauses[iPause], SECOND / 200);
    EXPECT_LE(pauses[iPause], SECOND / 100);
  }
}

TEST_F(Busy, PausesOfOneRunAreNotAllAlike) {
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recCreate(task("b"), jOut));
  takeLogLines();
  const std::vector<long long>& pauses = m_clock.pauses();
  EXPECT_TRUE(
      std::any_of(pauses.begin() + 10, pauses.end() - 1, [&](long long iPause) { return iPause != pauses[10]; }));
}

TEST_F(Busy, ReadDoesNotWaitForTheWriter) {
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  EXPECT_EQ(1U, jOut.size());
  EXPECT_TRUE(m_clock.pauses().empty());
}

TEST_F(Busy, InsideATransactionAWriteFailsAtOnce) {
  runSql(m_pDb.get(), "BEGIN");
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recCreate(task("b"), jOut));
  expectFailure("task, recCreate: database is locked (not tried again: a transaction is open)");
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse("{}"), parse(R"({"enable":true})")));
  expectFailure("task, recUpdateByFilter: database is locked (not tried again: a transaction is open)");
  EXPECT_EQ(-1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), false));
  expectFailure("task, recDelete: database is locked (not tried again: a transaction is open)");
  EXPECT_TRUE(m_clock.pauses().empty());
  EXPECT_EQ(0, sqlite3_get_autocommit(m_pDb.get()));
  runSql(m_pDb.get(), "ROLLBACK");
}

TEST_F(Busy, WriteAfterAStaleReadInATransactionFailsAtOnce) {
  runSql(m_pOther.get(), "ROLLBACK");
  runSql(m_pDb.get(), "BEGIN");
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  runSql(m_pOther.get(), "UPDATE task SET enable = 1");
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse("{}"), parse(R"({"enable":false})")));
  expectFailure("task, recUpdateByFilter: database is locked (not tried again: a transaction is open)");
  EXPECT_TRUE(m_clock.pauses().empty());
  runSql(m_pDb.get(), "ROLLBACK");
}

TEST_F(Busy, OtherFailuresAreNotTriedAgain) {
  runSql(m_pOther.get(), "ROLLBACK");
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recCreate(task("a"), jOut));
  expectFailure("task, recCreate: UNIQUE constraint failed: task.task_name");
  EXPECT_TRUE(m_clock.pauses().empty());
}

TEST_F(Busy, NewHandleWaitsWithItsTables) {
  runSql(m_pOther.get(), "COMMIT; PRAGMA user_version = 0; BEGIN IMMEDIATE");
  m_clock.atPause(5, &rollBack, m_pOther.get());
  OrvaJsonDbApi handle(m_pDb.get(), "task", installedDefinitions(), installedSql());
  EXPECT_EQ(5U, m_clock.pauses().size());
  EXPECT_EQ(std::to_string(installedSchema()), queryText(m_pDb.get(), "PRAGMA user_version"));
  EXPECT_THAT(takeLogLines(), testing::ElementsAre(testing::HasSubstr("is kept in")));
}

TEST_F(Busy, NewHandleFindsTheTablesThatTheOtherMadeMeanwhile) {
  runSql(m_pOther.get(), "COMMIT; PRAGMA user_version = 0; BEGIN IMMEDIATE" + setSchema(installedSchema()));
  m_clock.atPause(5, [](void* pDb) { runSql(static_cast<sqlite3*>(pDb), "COMMIT"); }, m_pOther.get());
  OrvaJsonDbApi handle(m_pDb.get(), "task", installedDefinitions(), "CREATE TABLE task (made_twice TEXT)");
  EXPECT_EQ(5U, m_clock.pauses().size());
}

TEST_F(Busy, NewHandleGivesUpAfterTenSeconds) {
  runSql(m_pOther.get(), "COMMIT; PRAGMA user_version = 0; BEGIN IMMEDIATE");
  EXPECT_THROW(OrvaJsonDbApi(m_pDb.get(), "task", installedDefinitions(), installedSql()), std::exception);
  expectFailure("task, open: database is locked (gave up after 10 seconds)");
  EXPECT_EQ(10 * SECOND, m_clock.slept());
}

TEST_F(BusyReading, ReadIsTriedAgainToo) {
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recCreate(parse(R"({"task_name":"a"})"), jOut));
  for (const char* szFilter : {R"({"task_name":"a"})", R"({"orvaSqlWhereFilter":"task_name = 'a'"})"}) {
    runSql(m_pOther.get(), "BEGIN EXCLUSIVE");
    m_clock.atPause(m_clock.pauses().size() + 3, &rollBack, m_pOther.get());
    EXPECT_EQ(0, m_tasks.recList(parse(szFilter), jOut));
    EXPECT_EQ(1U, jOut.size());
    runSql(m_pOther.get(), "BEGIN EXCLUSIVE");
    m_clock.atPause(m_clock.pauses().size() + 3, &rollBack, m_pOther.get());
    EXPECT_EQ(0, m_tasks.recGetOne(parse(szFilter), jOut));
    EXPECT_EQ("a", jOut["task_name"].asString());
  }
  EXPECT_EQ(12U, m_clock.pauses().size());
}

TEST_F(BusyReading, RefusedCommitIsDoneOnceWhenTheReaderHasGone) {
  runSql(m_pOther.get(), "BEGIN; SELECT * FROM task");
  m_clock.atPause(4, &rollBack, m_pOther.get());
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recCreate(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ(4U, m_clock.pauses().size());
  EXPECT_EQ("1", queryText(m_pOther.get(), "SELECT count(*) FROM task"));
}

TEST_F(BusyReading, RefusedCommitOfTheTablesIsDoneWhenTheReaderHasGone) {
  runSql(m_pOther.get(), "PRAGMA user_version = 0; BEGIN; SELECT * FROM task");
  m_clock.atPause(4, &rollBack, m_pOther.get());
  OrvaJsonDbApi handle(m_pDb.get(), "task", parse(SMALL_DEFINITIONS), SMALL_SQL);
  EXPECT_EQ(4U, m_clock.pauses().size());
  EXPECT_EQ("1", queryText(m_pOther.get(), "PRAGMA user_version"));
  EXPECT_THAT(takeLogLines(), testing::ElementsAre(testing::HasSubstr("is kept in")));
}
