// The effects of building a handle on the connection and the database.

#include <fcntl.h>
#include <fstream>
#include <unistd.h>

#include "record_store_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

struct BadDefinition {
  const char* szDefinition;
  const char* szReason;
};

class CreateTables : public testing::Test {
protected:
  void TearDown() override { EXPECT_THAT(takeLogLines(), IsEmpty()); }

  std::unique_ptr<OrvaJsonDbApi> open(const std::string& strSql = installedSql(), const char* szTable = "task",
                                      const Json::Value& jDefinitions = installedDefinitions()) {
    return std::make_unique<OrvaJsonDbApi>(m_pDb.get(), szTable, jDefinitions, strSql);
  }

  void expectRefused(const std::string& strReason, const std::string& strSql = installedSql(),
                     const char* szTable = "task", const Json::Value& jDefinitions = installedDefinitions()) {
    try {
      open(strSql, szTable, jDefinitions);
      ADD_FAILURE() << "not refused: " << strReason;
    } catch (const std::exception& failure) {
      EXPECT_EQ(strReason, failure.what());
    }
    const std::string strLine = std::string("3 orvaplatform: record store, table ") + szTable + ", open: " + strReason;
    EXPECT_THAT(takeLogLines(), ElementsAre(strLine));
  }

  void expectInstalledSchema() { EXPECT_EQ(std::to_string(installedSchema()), query("PRAGMA user_version")); }

  std::string query(const std::string& strSql) { return queryText(m_pDb.get(), strSql); }

  TempFolder m_folder;
  Database m_pDb = openDatabase(m_folder.path("test.db"));
};

}  // namespace

TEST_F(CreateTables, EmptyFileBecomesADatabaseOfTheNewestSchema) {
  open();
  EXPECT_EQ("wal", query("PRAGMA journal_mode"));
  expectInstalledSchema();
  EXPECT_EQ("task,task_result", query("SELECT group_concat(name) FROM (SELECT name FROM sqlite_schema "
                                      "WHERE type = 'table' AND name LIKE 'task%' ORDER BY name)"));
}

TEST_F(CreateTables, CommitsAreFullySynchronisedOnEveryConnection) {
  open();
  runSql(m_pDb.get(), "PRAGMA synchronous = OFF");
  open();
  EXPECT_EQ("2", query("PRAGMA synchronous"));
  m_pDb = openDatabase(m_folder.path("test.db"));
  runSql(m_pDb.get(), "PRAGMA synchronous = NORMAL");
  open("");
  EXPECT_EQ("2", query("PRAGMA synchronous"));
}

TEST_F(CreateTables, SqlIsRunOnlyWhenTheDatabaseIsOlder) {
  const std::string strSql =
      "CREATE TABLE visits (x); CREATE TABLE task (task_name TEXT PRIMARY KEY)" + setSchema(installedSchema());
  open(strSql);
  // A second run would fail because the tables exist.
  open(strSql);
  open(strSql, "task_result");
  EXPECT_EQ("0", query("SELECT count(*) FROM visits"));
}

TEST_F(CreateTables, InstalledSqlIsHarmlessToRunAgain) {
  auto pHandle = open();
  Json::Value jOut;
  ASSERT_EQ(0, pHandle->recCreate(parse(R"({"task_name":"a","owner":1})"), jOut));
  const std::string strSchema = query("SELECT group_concat(sql) FROM sqlite_schema");
  runSql(m_pDb.get(), installedSql());
  runSql(m_pDb.get(), "PRAGMA user_version = 0");
  open();
  EXPECT_THAT(takeLogLines(), ElementsAre(testing::HasSubstr("is kept in")));
  expectInstalledSchema();
  EXPECT_EQ("a", query("SELECT task_name FROM task"));
  EXPECT_EQ(strSchema, query("SELECT group_concat(sql) FROM sqlite_schema"));
}

TEST_F(CreateTables, HandleDoesNotWriteToADatabaseThatIsUpToDate) {
  open();
  const std::string strBefore = query("PRAGMA data_version");
  Database pOther = openDatabase(m_folder.path("test.db"));
  OrvaJsonDbApi other(pOther.get(), "task", installedDefinitions(), installedSql());
  EXPECT_EQ(strBefore, query("PRAGMA data_version"));
}

TEST_F(CreateTables, NewerSchemaIsRefused) {
  open();
  const std::string strNewer = std::to_string(installedSchema() + 1);
  runSql(m_pDb.get(), setSchema(installedSchema() + 1));
  const std::string strReason = "the database has schema version " + strNewer + ", newer than " +
                                std::to_string(installedSchema()) + ", the newest supported version";
  expectRefused(strReason);
  expectRefused(strReason, "");
  EXPECT_EQ(ENOTSUP, KLIBCErrGet());
  EXPECT_EQ(strNewer, query("PRAGMA user_version"));
}

TEST_F(CreateTables, EmptySqlCreatesNothing) {
  auto pHandle = open("");
  EXPECT_EQ("0", query("SELECT count(*) FROM sqlite_schema"));
  Json::Value jOut;
  EXPECT_EQ(-1, pHandle->recList(parse("{}"), jOut));
  EXPECT_THAT(takeLogLines(),
              ElementsAre("3 orvaplatform: record store, table task, recList: no such table: main.task"));
}

TEST_F(CreateTables, SqlThatFailsLeavesTheTablesAsTheyWere) {
  expectRefused("no such table: nowhere",
                "PRAGMA journal_mode = WAL; CREATE TABLE task (task_name TEXT);"
                "INSERT INTO nowhere VALUES (1)" +
                    setSchema(installedSchema()));
  EXPECT_EQ("0", query("SELECT count(*) FROM sqlite_schema"));
  EXPECT_NE(0, sqlite3_get_autocommit(m_pDb.get()));
  expectRefused("near \"nonsense\": syntax error", "CREATE TABLE task (task_name TEXT); nonsense");
  expectRefused("unrecognized token: \"'open\"", "CREATE TABLE task (task_name TEXT DEFAULT 'open");
  EXPECT_EQ("0", query("SELECT count(*) FROM sqlite_schema"));
  open();
}

TEST_F(CreateTables, SqlMustGiveTheVersionThatTheDefinitionDescribes) {
  for (const int iSchema : {0, installedSchema() + 1}) {
    expectRefused("the creation SQL sets schema version " + std::to_string(iSchema) + ", but the definition has " +
                      std::to_string(installedSchema()),
                  "CREATE TABLE task (x)" + setSchema(iSchema));
  }
  EXPECT_EQ("0", query("SELECT count(*) FROM sqlite_schema"));
  EXPECT_EQ("0", query("PRAGMA user_version"));
}

TEST_F(CreateTables, LeadingPragmasAreFoundBehindBlanksAndComments) {
  open(
      "\n\t-- PRAGMA journal_mode = OFF\n/* CREATE; */ ;; pragma journal_mode = wal; /**/ PrAgMa synchronous = OFF;"
      "\n-- end\nCREATE TABLE task (task_name TEXT)" +
      setSchema(installedSchema()) + " -- done");
  EXPECT_EQ("wal", query("PRAGMA journal_mode"));
  expectInstalledSchema();
}

TEST_F(CreateTables, SqlOfNothingButPragmasAndCommentsWorks) {
  open("PRAGMA journal_mode = WAL" + setSchema(installedSchema()) + " /* never closed");
  expectInstalledSchema();
}

TEST_F(CreateTables, OpenTransactionIsRefusedAndStaysOpen) {
  runSql(m_pDb.get(), "CREATE TABLE x (y); BEGIN; INSERT INTO x VALUES (1)");
  expectRefused("Safety level may not be changed inside a transaction");
  EXPECT_EQ(0, sqlite3_get_autocommit(m_pDb.get()));
  runSql(m_pDb.get(), "COMMIT");
}

TEST_F(CreateTables, MissingConnectionIsRefused) {
  m_pDb.reset();
  expectRefused("no connection");
}

TEST_F(CreateTables, ConnectionThatNeverOpenedIsRefusedWithItsReason) {
  sqlite3* pDb = nullptr;
  EXPECT_EQ(SQLITE_CANTOPEN, sqlite3_open("/nowhere/at/all.db", &pDb));
  m_pDb.reset(pDb);
  expectRefused("unable to open database file: No such file or directory");
  EXPECT_EQ(ENOENT, KLIBCErrGet());
}

TEST_F(CreateTables, FileThatIsNoDatabaseIsRefusedAndKept) {
  const std::string strPath = m_folder.path("notes.txt");
  const std::string strNotes(5000, 'n');
  std::ofstream(strPath) << strNotes;
  sqlite3* pDb = nullptr;
  ASSERT_EQ(SQLITE_OK, sqlite3_open(strPath.c_str(), &pDb));
  m_pDb.reset(pDb);
  expectRefused("file is not a database");
  m_pDb.reset();
  EXPECT_EQ(strNotes, readFile(strPath));
}

TEST_F(CreateTables, DatabaseInMemoryWorksWithoutAWriteAheadLog) {
  m_pDb = openDatabase(":memory:");
  auto pHandle = open();
  Json::Value jOut;
  EXPECT_EQ(0, pHandle->recCreate(parse(R"({"task_name":"a","owner":1})"), jOut));
}

TEST_F(CreateTables, DefinitionThatIsMissingOrMalformedIsRefused) {
  for (const BadDefinition& bad : std::vector<BadDefinition>{
           {"null", "the table has no definition"},
           {"[]", "the table has no definition"},
           {"{}", "the table has no definition"},
           {R"({"task":null})", "the table has no definition"},
           {R"({"task":[]})", "the table has no definition"},
           {R"({"task":{}})", "the definition needs a schema version of 1 or more"},
           {R"({"task":{"schema":0}})", "the definition needs a schema version of 1 or more"},
           {R"({"task":{"schema":"1"}})", "the definition needs a schema version of 1 or more"},
           {R"({"task":{"schema":1}})", "the definition needs an array of 1 to 64 columns"},
           {R"({"task":{"schema":1,"columns":{}}})", "the definition needs an array of 1 to 64 columns"},
           {R"({"task":{"schema":1,"columns":[]}})", "the definition needs an array of 1 to 64 columns"},
           {R"({"task":{"schema":1,"columns":[7]}})",
            "the definition's column name is not a name of letters, digits and underscores"},
           {R"({"task":{"schema":1,"columns":[{"name":"a]"}]}})",
            "the definition's column name is not a name of letters, digits and underscores"},
           {R"({"task":{"schema":1,"columns":[{"name":"1a"}]}})",
            "the definition's column name is not a name of letters, digits and underscores"},
           {R"({"task":{"schema":1,"columns":[{"name":""}]}})",
            "the definition's column name is not a name of letters, digits and underscores"},
           {R"({"task":{"schema":1,"columns":[{"name":"a"}]}})",
            "column a: the type must be integer, boolean, text or json"},
           {R"({"task":{"schema":1,"columns":[{"name":"a","type":"real"}]}})",
            "column a: the type must be integer, boolean, text or json"},
           {R"({"task":{"schema":1,"columns":[{"name":"a","type":1}]}})",
            "column a: the type must be integer, boolean, text or json"},
           {R"({"task":{"schema":1,"columns":[{"name":"a","type":"text"},{"name":"a","type":"json"}]}})",
            "column a is defined twice"},
           {R"({"task":{"schema":1,"columns":[{"name":"a","type":"text"}]}})",
            "the definition's key is not a name of letters, digits and underscores"},
           {R"({"task":{"schema":1,"key":"b","columns":[{"name":"a","type":"text"}]}})",
            "the key b is not one of the columns"},
       }) {
    SCOPED_TRACE(bad.szDefinition);
    expectRefused(bad.szReason, installedSql(), "task", parse(bad.szDefinition));
  }
  EXPECT_EQ("0", query("SELECT count(*) FROM sqlite_schema"));
}

TEST_F(CreateTables, DefinitionOfMoreColumnsThanASetHoldsIsRefused) {
  Json::Value jDefinitions = parse(R"({"task":{"schema":1,"key":"c0"}})");
  for (int iColumn = 0; iColumn < 64; ++iColumn) {
    Json::Value jColumn;
    jColumn["name"] = "c" + std::to_string(iColumn);
    jColumn["type"] = "integer";
    jDefinitions["task"]["columns"].append(jColumn);
  }
  std::string strSql = "CREATE TABLE task (c0 INTEGER PRIMARY KEY";
  for (int iColumn = 1; iColumn < 64; ++iColumn) {
    strSql += ", c" + std::to_string(iColumn) + " INTEGER";
  }
  auto pHandle = open(strSql + "); PRAGMA user_version = 1;", "task", jDefinitions);
  Json::Value jRecord;
  for (int iColumn = 0; iColumn < 64; ++iColumn) {
    jRecord["c" + std::to_string(iColumn)] = iColumn;
  }
  Json::Value jOut;
  EXPECT_EQ(0, pHandle->recCreate(jRecord, jOut));
  EXPECT_EQ(jRecord, jOut);
  jDefinitions["task"]["columns"].append(parse(R"({"name":"c64","type":"integer"})"));
  expectRefused("the definition needs an array of 1 to 64 columns", installedSql(), "task", jDefinitions);
}

TEST_F(CreateTables, TableWithoutADefinitionIsRefused) {
  expectRefused("the table has no definition", installedSql(), "users");
  expectRefused("the table has no definition", installedSql(), "");
}
