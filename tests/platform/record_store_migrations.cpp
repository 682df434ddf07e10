// Databases of older schema versions: every row is migrated, and a copy of the old database is kept.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>

#include "old_database.h"
#include "record_store_fixture.h"
#include "together.h"

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

class Migrations : public testing::Test {
protected:
  void SetUp() override { makeOldDatabase(m_strPath); }
  void TearDown() override { EXPECT_THAT(takeLogLines(), IsEmpty()); }

  // Builds a handle, as each start of a program does.
  void open(const Json::Value& jDefinitions = installedDefinitions(), const std::string& strSql = installedSql()) {
    const Database pDb = openDatabase(m_strPath);
    const OrvaJsonDbApi tasks(pDb.get(), "task", jDefinitions, strSql);
  }

  void expectMigrated(int iFrom, int iTo, const std::string& strCopy) {
    EXPECT_THAT(takeLogLines(),
                ElementsAre("5 orvaplatform: record store: the database now has schema version " + std::to_string(iTo) +
                            "; a copy with version " + std::to_string(iFrom) + " is kept in " + strCopy));
  }

  void expectRefused(const std::string& strReason, const Json::Value& jDefinitions,
                     const std::string& strSql = installedSql()) {
    EXPECT_THROW(open(jDefinitions, strSql), std::exception) << strReason;
    EXPECT_THAT(takeLogLines(), ElementsAre("3 orvaplatform: record store, table task, open: " + strReason));
  }

  std::string query(const std::string& strSql) { return queryText(openDatabase(m_strPath).get(), strSql); }

  std::vector<std::string> files() const {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(fs::path(m_strPath).parent_path())) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  TempFolder m_folder;
  std::string m_strPath = m_folder.path("test.db");
  std::string m_strCopy = m_strPath + ".schema-0";
};

// The installed definitions with one more schema version on top.
Json::Value withStep(const std::string& strStep) {
  Json::Value jDefinitions = installedDefinitions();
  Json::Value jStep = parse(strStep);
  jStep["schema"] = installedSchema() + 1;
  jDefinitions["migrations"].append(jStep);
  jDefinitions["task"]["schema"] = jStep["schema"];
  jDefinitions["task_result"]["schema"] = jStep["schema"];
  return jDefinitions;
}

std::string sqlOf(int iSchema, const std::string& strMore = "") {
  return installedSql() + strMore + setSchema(iSchema);
}

const int NEXT = installedSchema() + 1;

}  // namespace

TEST_F(Migrations, OldDatabaseKeepsEveryRowAndGetsTheNewColumns) {
  const Database pDb = openDatabase(m_strPath);
  OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
  OrvaJsonDbApi results(pDb.get(), "task_result", installedDefinitions(), installedSql());
  expectMigrated(0, NEXT - 1, m_strCopy);
  Json::Value jTasks;
  Json::Value jResults;
  ASSERT_EQ(0, tasks.recList(parse("{}"), jTasks));
  ASSERT_EQ(0, results.recList(parse("{}"), jResults));
  EXPECT_EQ(text(oldTasksAsRead()), text(jTasks));
  EXPECT_EQ(text(oldResultsAsRead()), text(jResults));
  EXPECT_EQ("ok", queryText(pDb.get(), "PRAGMA integrity_check"));
  EXPECT_EQ("(no row)", queryText(pDb.get(), "PRAGMA foreign_key_check"));
}

TEST_F(Migrations, MigratedTablesTakeAndRefuseTheSameValuesAsNewOnes) {
  const Database pDb = openDatabase(m_strPath);
  OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
  OrvaJsonDbApi results(pDb.get(), "task_result", installedDefinitions(), installedSql());
  takeLogLines();
  const Database pNew = openDatabase(m_folder.path("new.db"));
  const OrvaJsonDbApi fresh(pNew.get(), "task", installedDefinitions(), installedSql());
  for (const char* szTable : {"task", "task_result"}) {
    const std::string strColumns =
        std::string(
            "SELECT group_concat(line, ';') FROM (SELECT name || ' ' || type || ' ' || \"notnull\" || ' ' || "
            "ifnull(dflt_value, '-') AS line FROM pragma_table_info('") +
        szTable + "') ORDER BY name)";
    EXPECT_EQ(queryText(pNew.get(), strColumns), queryText(pDb.get(), strColumns));
  }
  const char* const szIndexes =
      "SELECT group_concat(sql) FROM (SELECT sql FROM sqlite_schema WHERE type = 'index' "
      "ORDER BY name)";
  EXPECT_EQ(queryText(pNew.get(), szIndexes), queryText(pDb.get(), szIndexes));
  EXPECT_EQ(-1, tasks.recUpdateByFilter(parse("{}"), parse(R"({"time_limit":-1})")));
  EXPECT_THAT(takeLogLines(), ElementsAre(HasSubstr("CHECK constraint failed")));
  Json::Value jOut;
  EXPECT_EQ(0, results.recCreate(parse(R"({"task_name":"backup","boot_id":"b","start_ticks":5})"), jOut));
  // A run's number is never used again.
  EXPECT_EQ(OLD_LAST_NUMBER + 1, jOut["result_id"].asInt());
  EXPECT_EQ(1, tasks.recDelete(parse(R"({"task_name":"backup"})"), true));
  EXPECT_EQ("0", queryText(pDb.get(), "SELECT count(*) FROM task_result WHERE task_name = 'backup'"));
}

TEST_F(Migrations, DatabaseAsItWasIsKeptForItsOwnerAlone) {
  const mode_t maskBefore = umask(0);
  open();
  umask(maskBefore);
  expectMigrated(0, NEXT - 1, m_strCopy);
  EXPECT_THAT(files(), ElementsAre("test.db", "test.db.schema-0"));
  struct stat status{};
  ASSERT_EQ(0, stat(m_strCopy.c_str(), &status));
  EXPECT_EQ(S_IFREG | 0600, status.st_mode);
  expectOldDatabase(m_strCopy);
}

TEST_F(Migrations, CopiesThatAreThereAlreadyAreNotOverwritten) {
  std::ofstream(m_strCopy) << "mine";
  std::ofstream(m_strCopy + ".2") << "mine too";
  open();
  expectMigrated(0, NEXT - 1, m_strCopy + ".3");
  EXPECT_EQ("mine", readFile(m_strCopy));
  EXPECT_EQ("mine too", readFile(m_strCopy + ".2"));
  expectOldDatabase(m_strCopy + ".3");
}

TEST_F(Migrations, TooManyCopiesAreRefused) {
  std::ofstream(m_strCopy) << "mine";
  for (int iCopy = 2; iCopy <= 99; ++iCopy) {
    std::ofstream(m_strCopy + "." + std::to_string(iCopy)) << "mine";
  }
  expectRefused("cannot copy the database before the migration: " + m_strCopy +
                    " and 98 more copies exist: remove those that are not needed",
                installedDefinitions());
  EXPECT_FALSE(fs::exists(m_strCopy + ".new"));
  expectOldDatabase(m_strPath);
}

TEST_F(Migrations, HalfACopyOfAKilledProcessIsReplaced) {
  std::ofstream(m_strCopy + ".new") << "half";
  open();
  expectMigrated(0, NEXT - 1, m_strCopy);
  EXPECT_THAT(files(), ElementsAre("test.db", "test.db.schema-0"));
  expectOldDatabase(m_strCopy);
}

TEST_F(Migrations, WithoutItsCopyNoDatabaseIsChanged) {
  fs::create_directory(m_strCopy + ".new");
  expectRefused("cannot copy the database before the migration: " + m_strCopy + ".new: File exists",
                installedDefinitions());
  EXPECT_EQ(EEXIST, KLIBCErrGet());
  EXPECT_THAT(files(), ElementsAre("test.db", "test.db.schema-0.new"));
  expectOldDatabase(m_strPath);
}

TEST_F(Migrations, NewDatabasesAndThoseThatAreUpToDateAreNotCopied) {
  fs::remove(m_strPath);
  open();
  open();
  EXPECT_THAT(files(), ElementsAre("test.db"));
}

TEST_F(Migrations, DatabaseInMemoryIsMigratedWithoutACopy) {
  const Database pDb = openDatabase(":memory:");
  makeOldTables(pDb.get());
  OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
  Json::Value jTasks;
  EXPECT_EQ(0, tasks.recList(parse("{}"), jTasks));
  EXPECT_EQ(text(oldTasksAsRead()), text(jTasks));
}

TEST_F(Migrations, DatabaseThatWasRestoredFromSqlTextLostOnlyItsVersion) {
  open();
  takeLogLines();
  runSql(openDatabase(m_strPath).get(), "PRAGMA user_version = 0");
  open();
  expectMigrated(0, NEXT - 1, m_strCopy + ".2");
  EXPECT_EQ(std::to_string(NEXT - 1), query("PRAGMA user_version"));
}

TEST_F(Migrations, OneMoreColumnIsOneStepALineOfTheSqlAndALineOfTheDefinition) {
  Json::Value jDefinitions =
      withStep(R"({"columns":[{"table":"task","name":"colour","declaration":"TEXT NOT NULL DEFAULT 'grey'"}]})");
  jDefinitions["task"]["columns"].append(parse(R"({"name":"colour","type":"text"})"));
  std::string strSql = sqlOf(NEXT);
  strSql.insert(strSql.find("  operation         TEXT"), "  colour TEXT NOT NULL DEFAULT 'grey',\n");
  for (const char* szName : {"test.db", "new.db"}) {
    const Database pDb = openDatabase(m_folder.path(szName));
    OrvaJsonDbApi tasks(pDb.get(), "task", jDefinitions, strSql);
    Json::Value jOut;
    EXPECT_EQ(0, tasks.recCreate(parse(R"({"task_name":"new","owner":1})"), jOut));
    EXPECT_EQ("grey", jOut["colour"].asString());
  }
  expectMigrated(0, NEXT, m_strCopy);
  EXPECT_EQ(std::to_string(OLD_TASKS + 1), query("SELECT count(*) FROM task WHERE colour = 'grey'"));
}

TEST_F(Migrations, OnlyTheStepsAboveTheDatabasesVersionAreRun) {
  open();
  takeLogLines();
  Json::Value jDefinitions = withStep(R"({"sql":["UPDATE task SET time_limit = time_limit + 5"]})");
  jDefinitions["migrations"][0]["sql"].append("UPDATE task SET time_limit = 1000");
  open(jDefinitions, sqlOf(NEXT));
  expectMigrated(NEXT - 1, NEXT, m_strPath + ".schema-" + std::to_string(NEXT - 1));
  EXPECT_EQ(std::to_string(OLD_TASKS), query("SELECT count(*) FROM task WHERE time_limit = 5"));
  open(jDefinitions, sqlOf(NEXT));
  EXPECT_EQ(std::to_string(OLD_TASKS), query("SELECT count(*) FROM task WHERE time_limit = 5"));
}

TEST_F(Migrations, VersionThatOnlyAddsTablesAndIndexesNeedsNoStep) {
  Json::Value jDefinitions = installedDefinitions();
  jDefinitions["task"]["schema"] = NEXT;
  open(jDefinitions, sqlOf(NEXT,
                           "CREATE TABLE IF NOT EXISTS more (x); CREATE INDEX IF NOT EXISTS by_owner ON "
                           "task (owner)"));
  expectMigrated(0, NEXT, m_strCopy);
  EXPECT_EQ("2", query("SELECT count(*) FROM sqlite_schema WHERE name IN ('more', 'by_owner')"));
}

TEST_F(Migrations, StepThatFailsLeavesTheDatabaseAsItWasAndNoCopy) {
  const Json::Value jDefinitions =
      withStep(R"({"sql":["DELETE FROM task_result","UPDATE task SET enable = 1","UPDATE nowhere SET x = 1"]})");
  for (int iAttempt = 0; iAttempt < 3; ++iAttempt) {
    expectRefused("no such table: nowhere", jDefinitions, sqlOf(NEXT));
    EXPECT_THAT(files(), ElementsAre("test.db"));
    expectOldDatabase(m_strPath);
  }
}

TEST_F(Migrations, ColumnThatNoStepAddsIsNamedBeforeAnythingIsChanged) {
  for (const char* szTable : {"task", "task_result"}) {
    Json::Value jDefinitions = withStep("{}");
    jDefinitions[szTable]["columns"].append(parse(R"({"name":"colour","type":"text"})"));
    expectRefused(std::string("no migration adds the column colour to the table ") + szTable, jDefinitions,
                  sqlOf(NEXT));
  }
  expectOldDatabase(m_strPath);
}

TEST_F(Migrations, RowsThatANewColumnWouldRefuseStayAsTheyAre) {
  const Json::Value jDefinitions =
      withStep(R"({"columns":[{"table":"task","name":"colour","declaration":"TEXT NOT NULL"}]})");
  expectRefused("Cannot add a NOT NULL column with default value NULL", jDefinitions, sqlOf(NEXT));
  expectOldDatabase(m_strPath);
}

TEST_F(Migrations, MalformedStepsAreRefused) {
  for (const auto& [szSteps, szReason] : std::vector<std::pair<const char*, const char*>>{
           {"7", "a migration's migrations is not an array"},
           {"[7]", "a migration has no schema version"},
           {R"([{"schema":"1"}])", "a migration has no schema version"},
           {R"([{"schema":1,"columns":{}}])", "a migration's columns is not an array"},
           {R"([{"schema":1,"columns":[7]}])", "a migration lacks a text"},
           {R"([{"schema":1,"columns":[{"table":"task","name":"x"}]}])", "a migration lacks a text"},
           {R"([{"schema":1,"sql":"x"}])", "a migration's sql is not an array"},
           {R"([{"schema":1,"sql":[""]}])", "a migration lacks a text"},
           {R"([{"schema":1,"sql":["DELETE FROM task; DELETE FROM task_result"]}])", "more than one statement"},
           {R"([{"schema":2},{"schema":1}])", "the migration to schema version 1 comes after the one to 2"},
           {R"([{"schema":1},{"schema":1}])", "the migration to schema version 1 comes after the one to 1"},
       }) {
    SCOPED_TRACE(szSteps);
    Json::Value jDefinitions = installedDefinitions();
    jDefinitions["migrations"] = parse(szSteps);
    expectRefused(szReason, jDefinitions);
  }
  expectOldDatabase(m_strPath);
}

TEST_F(Migrations, ProcessesThatComeAtTheSameMomentMigrateOnce) {
  constexpr int PROCESSES = 8;
  const Json::Value jDefinitions = withStep(R"({"sql":["UPDATE task SET time_limit = time_limit + 1"]})");
  const std::vector<int> results = runTogether(PROCESSES, [&](int) {
    const Database pDb = openDatabase(m_strPath);
    try {
      OrvaJsonDbApi tasks(pDb.get(), "task", jDefinitions, sqlOf(NEXT));
      OrvaJsonDbApi runs(pDb.get(), "task_result", jDefinitions, sqlOf(NEXT));
      Json::Value jTasks;
      const bool blRead = tasks.recList(parse("{}"), jTasks) == 0 && static_cast<int>(jTasks.size()) == OLD_TASKS;
      return blRead ? static_cast<int>(takeLogLines().size()) : 100;
    } catch (const std::exception& failure) {
      fprintf(stderr, "%s\n", failure.what());
      return 101;
    }
  });
  // Only the process that migrated logged a line.
  EXPECT_EQ(1, std::count(results.begin(), results.end(), 1));
  EXPECT_EQ(PROCESSES - 1, std::count(results.begin(), results.end(), 0));
  EXPECT_EQ(std::to_string(OLD_TASKS), query("SELECT count(*) FROM task WHERE time_limit = 1"));
  EXPECT_THAT(files(), ElementsAre("test.db", "test.db.schema-0"));
  expectOldDatabase(m_strCopy);
}
