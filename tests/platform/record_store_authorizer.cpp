// A caller's WHERE clause can only read its own table.

#include <unistd.h>

#include "record_store_fixture.h"

using testing::ElementsAre;
using testing::StartsWith;

namespace {

bool blCalled = false;

void harmful(sqlite3_context* pContext, int /*cArguments*/, sqlite3_value** /*arguments*/) {
  blCalled = true;
  sqlite3_result_int(pContext, 1);
}

class WhereClauseAttack : public RecordStore {
protected:
  void SetUp() override {
    add(task("a", R"({"operation":"secret"})"));
    Json::Value jOut;
    ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"a","pid":4711})"), jOut));
    runSql(m_pDb.get(), "CREATE TABLE other (word TEXT); INSERT INTO other VALUES ('hidden')");
    runSql(m_pDb.get(), "CREATE TEMP TABLE scratch (word TEXT); CREATE VIEW glimpse AS SELECT word FROM other");
    blCalled = false;
    for (const char* szName : {"writefile", "readfile", "edit", "load_extension", "fts3_tokenizer", "sqlite_log"}) {
      sqlite3_create_function(m_pDb.get(), szName, -1, SQLITE_UTF8, nullptr, &harmful, nullptr, nullptr);
    }
    m_strBefore = contents();
  }

  // All data that an attack could change.
  std::string contents() {
    return queryText(
        m_pDb.get(),
        "SELECT (SELECT group_concat(task_name||operation) FROM task) || (SELECT count(*) FROM task_result)"
        " || (SELECT group_concat(word) FROM other) || (SELECT count(*) FROM sqlite_master)"
        " || (SELECT count(*) FROM pragma_database_list)");
  }

  void expectRefused(const std::string& strWhere) {
    SCOPED_TRACE(strWhere);
    Json::Value jFilter;
    jFilter["orvaSqlWhereFilter"] = strWhere;
    Json::Value jOut = "untouched";
    EXPECT_EQ(-1, m_tasks.recList(jFilter, jOut));
    EXPECT_THAT(takeLogLines(), ElementsAre(StartsWith("3 orvaplatform: record store, table task, recList: ")));
    EXPECT_EQ("untouched", jOut.asString());
    EXPECT_FALSE(blCalled);
    EXPECT_NE(0, sqlite3_get_autocommit(m_pDb.get()));
    // The connection has no restriction again: contents() reads every table, which the guard forbids.
    EXPECT_EQ(m_strBefore, contents());
  }

  std::string m_strBefore;
};

}  // namespace

TEST_F(WhereClauseAttack, OtherTablesAreNotReadable) {
  for (const char* szWhere : {
           "1) UNION SELECT name,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1,1 FROM sqlite_master WHERE (1",
           "task_name in (select name from sqlite_master)",
           "task_name in (select tbl_name from sqlite_schema)",
           "exists (select 1 from task_result where pid = 4711)",
           "exists (select 1 from main.other)",
           "exists (select * from scratch)",
           "exists (select * from temp.scratch)",
           "exists (select * from glimpse)",
           "(select count(*) from other) > 0",
           "exists (select 1 from sqlite_sequence)",
           "exists (select 1 from pragma_table_info('other'))",
           "exists (select 1 from pragma_database_list)",
           "exists (select 1 from json_each('[1]'))",
           "exists (select 1 from dbstat)",
           "exists (select 1 from sqlite_stmt)",
           "exists (with x as (select word from other) select 1 from x)",
       }) {
    expectRefused(szWhere);
  }
}

TEST_F(WhereClauseAttack, SecondStatementIsNotRun) {
  for (const char* szWhere : {
           "1); DELETE FROM task; --",
           "1); DELETE FROM task WHERE (1",
           "1); ",
           "1);",
           "1) ORDER BY 1; DROP TABLE other; /*",
           "1; DELETE FROM other",
       }) {
    expectRefused(szWhere);
  }
}

TEST_F(WhereClauseAttack, NothingButASelectIsPossible) {
  for (const char* szWhere : {
           "1) RETURNING (1",
           "DELETE FROM task",
           "exists (delete from task returning 1)",
           "ATTACH '/tmp/orva_store_test_attack.db' AS x",
           "1); ATTACH '/tmp/orva_store_test_attack.db' AS x; SELECT (1",
           "PRAGMA user_version = 9",
           "1); PRAGMA writable_schema = ON; SELECT (1",
           "1); BEGIN; SELECT (1",
           "1); CREATE TABLE y (z); SELECT (1",
       }) {
    expectRefused(szWhere);
  }
  EXPECT_NE(0, access("/tmp/orva_store_test_attack.db", F_OK));
}

TEST_F(WhereClauseAttack, FunctionsThatReachOutsideAreRefused) {
  for (const char* szWhere : {
           "load_extension('/tmp/x.so')",
           "LOAD_EXTENSION('/tmp/x.so', 'init')",
           "writefile('/tmp/x', operation)",
           "WriteFile('/tmp/x', operation)",
           "readfile('/etc/shadow') is not null",
           "edit(operation)",
           "fts3_tokenizer('simple') is not null",
           "sqlite_log(1, 'forged line')",
       }) {
    expectRefused(szWhere);
  }
}

TEST_F(WhereClauseAttack, EndlessRecursionIsRefusedBeforeItBegins) {
  expectRefused("exists (with recursive n(i) as (select 1 union all select i + 1 from n) select 1 from n where i < 0)");
  expectRefused(
      "(with recursive n(i) as (select 1 union all select i+1 from n limit 1000000000) select sum(i) from n)");
}

TEST_F(WhereClauseAttack, TemporaryTableOfTheSameNameDoesNotComeInBetween) {
  runSql(m_pDb.get(), "CREATE TEMP TABLE task AS SELECT * FROM main.task; UPDATE temp.task SET task_name = 'forged'");
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recList(parse(R"({"orvaSqlWhereFilter":"1"})"), jOut));
  ASSERT_EQ(1U, jOut.size());
  EXPECT_EQ("a", jOut[0]["task_name"].asString());
  EXPECT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  EXPECT_EQ("a", jOut[0]["task_name"].asString());
}

TEST_F(WhereClauseAttack, GuardIsGoneAfterSuccessToo) {
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recList(parse(R"({"orvaSqlWhereFilter":"1"})"), jOut));
  EXPECT_EQ(m_strBefore, contents());
  EXPECT_EQ(0, m_tasks.recGetOne(parse(R"({"orvaSqlWhereFilter":"1"})"), jOut));
  runSql(m_pDb.get(), "INSERT INTO other VALUES ('more'); DELETE FROM other WHERE word = 'more'");
}

TEST_F(WhereClauseAttack, GuardHoldsInsideATransactionAndLeavesItOpen) {
  runSql(m_pDb.get(), "BEGIN; UPDATE other SET word = 'changed'");
  Json::Value jFilter;
  jFilter["orvaSqlWhereFilter"] = "1); COMMIT; SELECT (1";
  Json::Value jOut;
  EXPECT_EQ(-1, m_tasks.recList(jFilter, jOut));
  expectFailure("task, recList: near \";\": syntax error");
  EXPECT_EQ(0, sqlite3_get_autocommit(m_pDb.get()));
  runSql(m_pDb.get(), "ROLLBACK");
  EXPECT_EQ("hidden", queryText(m_pDb.get(), "SELECT word FROM other"));
}
