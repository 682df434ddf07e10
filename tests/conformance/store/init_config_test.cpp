// initConfig: opens the store handle of one table, and the database.

#include <cerrno>
#include <filesystem>
#include <memory>
#include <unistd.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;
using testing::Contains;
using testing::ElementsAre;
using testing::Not;
using testing::StartsWith;

namespace {

const std::string DB_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler.db";
const std::string CONFIG_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
const std::string DEF_PATH = "/usr/orva/share/eorvascheduler/eorvascheduler-table-def.json";
const std::string SQL_PATH = "/usr/orva/share/eorvascheduler/eorvascheduler-table-create.sql";
const std::string DEF = R"({"other":[1],"task":{"a":1},"task_result":{"b":2}})";
const std::string PARSE_CHECK = "!jTableDef.fromFile(string(EORVA_SCHEDULER_TABLE_DEFINE_PATH))";

void installDefinitions() {
  writeFile(DEF_PATH, DEF);
  writeFile(SQL_PATH, "CREATE TABLE task (n);\n");
}

class InitConfig : public EorvaTest {
protected:
  InitConfig() { installDefinitions(); }
  ~InitConfig() override { release(); }

  int init(const std::string& strTable, OrvaJsonDbApi** ppApi) {
    return initConfig(strTable, m_jConfig, &m_pDb, ppApi);
  }

  // The database was not touched.
  void expectUntouched() const {
    EXPECT_EQ(m_pDb, nullptr);
    EXPECT_EQ(m_pApi, nullptr);
    EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("sqlite3_open("))));
    EXPECT_THAT(fakes().calls(), testing::IsEmpty());
    EXPECT_FALSE(fileExists(DB_PATH));
  }

  void release() { EXPECT_EQ(freeConfig(&m_pDb, &m_pApi, &m_pApiResult), 0); }

  Json::Value m_jConfig;
  sqlite3* m_pDb = nullptr;
  OrvaJsonDbApi* m_pApi = nullptr;
  OrvaJsonDbApi* m_pApiResult = nullptr;
};

}  // namespace

TEST_F(InitConfig, FirstCallOpensTheDatabaseAndTheSecondReusesIt) {
  EXPECT_EQ(init("task", &m_pApi), 0);
  ASSERT_NE(m_pDb, nullptr);
  ASSERT_NE(m_pApi, nullptr);
  EXPECT_EQ(fileMode(DB_PATH), 0700U);
  EXPECT_EQ(fileOwner(DB_PATH).first, 0U);
  const sqlite3* const pFirst = m_pDb;
  fakes().forgetCalls();
  EXPECT_EQ(init("task_result", &m_pApiResult), 0);
  EXPECT_EQ(m_pDb, pFirst);
  EXPECT_NE(m_pApiResult, nullptr);
  EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("sqlite3_"))));
  EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("seteuid("))));
}

TEST_F(InitConfig, HandlesAreBuiltFromTheirTableAllDefinitionsAndTheWholeSql) {
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_EQ(init("task_result", &m_pApiResult), 0);
  const std::string strRest = ", " + DEF + ", \"CREATE TABLE task (n);\n\")";
  EXPECT_THAT(fakes().calls(),
              ElementsAre("OrvaJsonDbApi(pDb, task" + strRest, "OrvaJsonDbApi(pDb, task_result" + strRest));
}

TEST_F(InitConfig, AnyTableNameButTheEmptyOneIsTheStoresAffair) {
  EXPECT_EQ(init("no such table", &m_pApi), 0);
  EXPECT_THAT(fakes().calls(), ElementsAre(StartsWith("OrvaJsonDbApi(pDb, no such table, ")));
}

TEST_F(InitConfig, ArgumentsAreCheckedInOrderBeforeAnyFileIsRead) {
  expectFailure("!ppDb", UTIL);
  EXPECT_EQ(initConfig("", m_jConfig, nullptr, nullptr), -1);
  expectFailure("!ppApi", UTIL);
  EXPECT_EQ(init("", nullptr), -1);
  expectFailure("strTableName.empty()", UTIL);
  EXPECT_EQ(init("", &m_pApi), -1);
  EXPECT_THAT(fakes().systemCalls(), testing::IsEmpty());
  expectUntouched();
}

TEST_F(InitConfig, FailsOnBadDefinitionsAndLogsThem) {
  const std::pair<std::string, std::string> CASES[] = {{"", PARSE_CHECK},
                                                       {"[1,2]", "jTableDef.type() != Json::objectValue"},
                                                       {R"({"task_result":1})", "!jTableDef.isMember(\"task\")"},
                                                       {R"({"task":1})", "!jTableDef.isMember(\"task_result\")"}};
  for (const auto& [strDocument, strCheck] : CASES) {
    writeFile(DEF_PATH, strDocument);
    expectFailure(strCheck, UTIL);
    expectLine("jTableDef=" + (strDocument.empty() ? "null" : strDocument), UTIL);
    expectFailure("0 > loadTableDef(jTableDef)", UTIL);
    EXPECT_EQ(init("task", &m_pApi), -1);
  }
  expectUntouched();
}

TEST_F(InitConfig, FailsWithoutDefinitions) {
  std::filesystem::remove(DEF_PATH);
  expectFailure(PARSE_CHECK, UTIL).withErrno(ENOENT);
  expectLine("jTableDef=null", UTIL);
  expectFailure("0 > loadTableDef(jTableDef)", UTIL);
  EXPECT_EQ(init("task", &m_pApi), -1);
  expectUntouched();
}

TEST_F(InitConfig, WithoutTheCreationSqlTheStoreGetsAnEmptyText) {
  std::filesystem::remove(SQL_PATH);
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_THAT(fakes().calls(), ElementsAre("OrvaJsonDbApi(pDb, task, " + DEF + ", \"\")"));
}

TEST_F(InitConfig, FailsOnCreationSqlThatCannotBeRead) {
  std::filesystem::remove(SQL_PATH);
  std::filesystem::create_directory(SQL_PATH);
  expectFailure("!in", UTIL).withErrno(EISDIR);
  expectLine("strFilePath=" + SQL_PATH, UTIL);
  expectFailure("0 > loadSqlCreate(strSqlCreate)", UTIL);
  EXPECT_EQ(init("task", &m_pApi), -1);
  expectUntouched();
}

TEST_F(InitConfig, FailsWhenTheConfigurationCannotBeExamined) {
  fakes().fail("stat(" + CONFIG_PATH).withErrno(EACCES);
  expectLine("load event config failed, file=" + CONFIG_PATH, LIB).withErrno(EACCES);
  expectFailure("0 > recConfigGet(jConfigOut)", UTIL);
  EXPECT_EQ(init("task", &m_pApi), -1);
  expectUntouched();
}

TEST_F(InitConfig, DefinitionsComeFirstThenTheSqlThenTheConfiguration) {
  std::filesystem::remove(SQL_PATH);
  std::filesystem::create_directory(SQL_PATH);
  writeFile(DEF_PATH, "");
  fakes().fail("stat(" + CONFIG_PATH).every();
  expectFailure(PARSE_CHECK, UTIL);
  expectLine("jTableDef=null", UTIL);
  expectFailure("0 > loadTableDef(jTableDef)", UTIL);
  EXPECT_EQ(init("task", &m_pApi), -1);
  writeFile(DEF_PATH, DEF);
  expectFailure("!in", UTIL);
  expectLine("strFilePath=" + SQL_PATH, UTIL);
  expectFailure("0 > loadSqlCreate(strSqlCreate)", UTIL);
  EXPECT_EQ(init("task", &m_pApi), -1);
  expectUntouched();
}

TEST_F(InitConfig, DeliversTheConfigurationAnewOnEveryCall) {
  writeFile(CONFIG_PATH, R"({"a": {"type": "a"}})");
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_EQ(m_jConfig, json("{'a': {'type': 'a'}}"));
  writeFile(CONFIG_PATH, R"({"b": 1})");
  EXPECT_EQ(init("task_result", &m_pApiResult), 0);
  EXPECT_EQ(m_jConfig, json("{'b': 1}"));
}

TEST_F(InitConfig, WithoutAConfigurationDeliversAnEmptyObject) {
  m_jConfig = "old";
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_EQ(m_jConfig, Json::Value(Json::objectValue));
}

TEST_F(InitConfig, DamagedConfigurationDoesNotKeepTheDatabaseClosed) {
  writeFile(CONFIG_PATH, "{damaged");
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_TRUE(m_jConfig.isNull());
  EXPECT_NE(m_pApi, nullptr);
}

TEST_F(InitConfig, FailsWithoutADatabaseAfterTheConfigurationIsDelivered) {
  writeFile(CONFIG_PATH, R"({"a": 1})");
  fakes().fail("chmod").withErrno(EPERM);
  expectFailure("-1 == chmod(strPath.c_str(), 0700)", UTIL).withErrno(EPERM);
  expectFailure("NULL == (pDb = openDb(EORVA_SCHEDULER_DB_PATH, true))", UTIL);
  EXPECT_EQ(init("task", &m_pApi), -1);
  EXPECT_EQ(m_pDb, nullptr);
  EXPECT_EQ(m_pApi, nullptr);
  EXPECT_EQ(m_jConfig, json("{'a': 1}"));
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(InitConfig, OpensTheDatabaseAsRoot) {
  fakes().answer("geteuid", 4001);
  fakes().answer("seteuid(4001", 0);
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_THAT(fakes().systemCalls(), Contains("seteuid(0)"));
  EXPECT_EQ(fakes().systemCalls().back(), "seteuid(4001)");
}

TEST_F(InitConfig, FailedConnectionIsTakenForSuccess) {
  fakes().fail("sqlite3_open");
  expectFailure("open sqlite failed, path=" + DB_PATH + ", errno=14", UTIL);
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_NE(m_pDb, nullptr);
  EXPECT_NE(m_pApi, nullptr);
}

TEST_F(InitConfig, OpenDatabaseIsUsedWithoutAnyCheck) {
  ASSERT_EQ(sqlite3_open(":memory:", &m_pDb), SQLITE_OK);
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_FALSE(fileExists(DB_PATH));
  EXPECT_THAT(fakes().systemCalls(), testing::Each(Not(StartsWith("sqlite3_"))));
}

TEST_F(InitConfig, HandleThatIsNotNullIsOverwrittenWithoutBeingReleased) {
  EXPECT_EQ(init("task", &m_pApi), 0);
  const std::unique_ptr<OrvaJsonDbApi> pFirst(m_pApi);
  EXPECT_EQ(init("task", &m_pApi), 0);
  EXPECT_NE(m_pApi, pFirst.get());
  EXPECT_THAT(fakes().calls(), testing::Each(StartsWith("OrvaJsonDbApi(")));
}

TEST_F(InitConfig, DatabaseThatTheStoreRefusesIsClosedAgain) {
  fakes().fail("OrvaJsonDbApi");
  expectLine("operation given up: no store for task", UTIL);
  EXPECT_EQ(init("task", &m_pApi), -1);
  EXPECT_EQ(m_pDb, nullptr);
  EXPECT_EQ(m_pApi, nullptr);
  EXPECT_EQ(fakes().systemCalls().back(), "sqlite3_close()");
}

TEST_F(InitConfig, DatabaseOfTheHostStaysOpenWhenTheStoreRefusesIt) {
  EXPECT_EQ(init("task", &m_pApi), 0);
  const sqlite3* const pFirst = m_pDb;
  fakes().fail("OrvaJsonDbApi(pDb, task_result");
  expectLine("operation given up: no store for task_result", UTIL);
  EXPECT_EQ(init("task_result", &m_pApiResult), -1);
  EXPECT_EQ(m_pDb, pFirst);
  EXPECT_EQ(m_pApiResult, nullptr);
  EXPECT_THAT(fakes().systemCalls(), Not(Contains("sqlite3_close()")));
}

TEST_F(InitConfig, EachFailingCallLeavesAllHandlesOrNone) {
  const int cCalls = failEachCall(installDefinitions, [this] {
    const int iResult = init("task", &m_pApi);
    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
    EXPECT_EQ(m_pDb != nullptr, iResult == 0);
    EXPECT_EQ(m_pApi != nullptr, iResult == 0);
    fakes().clearFaults();
    release();
    std::filesystem::remove(DB_PATH);
  });
  EXPECT_GE(cCalls, 15);
}
