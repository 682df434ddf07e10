// File systems that are full, read-only or missing, with the installed tables. Each failure gives one line and a
// negative result, and nothing is half written. The test mounts file systems in its private view.

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>

#include "old_database.h"
#include "record_store_fixture.h"

namespace fs = std::filesystem;
using testing::AllOf;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

void mustMount(const char* szTarget, unsigned long ulFlags, const char* szOptions) {
  if (mount("tmpfs", szTarget, "tmpfs", ulFlags, szOptions) != 0) {
    throw std::system_error(errno, std::generic_category(), szTarget);
  }
}

class Faults : public testing::Test {
protected:
  static constexpr const char* FOLDER = "/srv/store";

  void SetUp() override {
    fs::create_directory(FOLDER);
    mustMount(FOLDER, 0, "size=768k,mode=700");
  }

  void TearDown() override {
    close();
    EXPECT_EQ(0, umount(FOLDER));
    EXPECT_THAT(takeLogLines(), IsEmpty());
  }

  void open() {
    m_pDb = openDatabase(m_strPath);
    m_pTasks = std::make_unique<OrvaJsonDbApi>(m_pDb.get(), "task", installedDefinitions(), installedSql());
    m_pRuns = std::make_unique<OrvaJsonDbApi>(m_pDb.get(), "task_result", installedDefinitions(), installedSql());
  }

  void close() {
    m_pDb.reset();
    m_pTasks.reset();
    m_pRuns.reset();
  }

  // The handle cannot be built; one line has the reason.
  void expectNoHandle(const std::string& strReason, int iCode) {
    sqlite3* pDb = nullptr;
    sqlite3_open(m_strPath.c_str(), &pDb);
    const Database database(pDb);
    EXPECT_THROW(OrvaJsonDbApi(pDb, "task", installedDefinitions(), installedSql()), std::exception);
    EXPECT_THAT(takeLogLines(), ElementsAre("3 orvaplatform: record store, table task, open: " + strReason));
    EXPECT_EQ(iCode, KLIBCErrGet());
  }

  void expectFailure(const std::string& strOperation, const std::string& strReason, int iCode) {
    EXPECT_THAT(takeLogLines(),
                ElementsAre("3 orvaplatform: record store, table task, " + strOperation + ": " + strReason));
    EXPECT_EQ(iCode, KLIBCErrGet());
  }

  // Fills the file system completely.
  void fill() {
    std::ofstream ballast(m_strBallast, std::ios::app);
    while (ballast << std::string(4096, 'x') << std::flush) {
    }
  }

  void makeRoom() { EXPECT_TRUE(fs::remove(m_strBallast)); }
  static void removeBallast(void* pThis) { static_cast<Faults*>(pThis)->makeRoom(); }
  void makeRoom(std::uintmax_t cbRoom) const { fs::resize_file(m_strBallast, fs::file_size(m_strBallast) - cbRoom); }

  bool migrates() const {
    const Database pDb = openDatabase(m_strPath);
    try {
      const OrvaJsonDbApi handle(pDb.get(), "task", installedDefinitions(), installedSql());
      return true;
    } catch (const std::exception&) {
      return false;
    }
  }

  static std::vector<std::string> files() {
    std::vector<std::string> names;
    for (const auto& entry : fs::directory_iterator(FOLDER)) {
      names.push_back(entry.path().filename());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void remount(unsigned long ulFlags) { mustMount(FOLDER, MS_REMOUNT | ulFlags, "size=768k"); }

  static Json::Value task(const std::string& strName, std::size_t cbScript) {
    Json::Value jTask;
    jTask["task_name"] = strName;
    jTask["owner"] = 1000;
    jTask["operation"] = std::string(cbScript, 'x');
    return jTask;
  }

  std::string tasks() {
    const Database pDb = openDatabase(m_strPath);
    EXPECT_EQ("ok", queryText(pDb.get(), "PRAGMA integrity_check"));
    return queryText(pDb.get(),
                     "SELECT group_concat(task_name || ':' || length(operation) || ':' || enable) FROM task");
  }

  // Every write fails with an I/O error, until allowWrites() or the n-th pause.
  static void refuseWrites() {
    ::signal(SIGXFSZ, SIG_IGN);
    limitFiles(0);
  }
  static void allowWrites(void* = nullptr) { limitFiles(RLIM_INFINITY); }
  static void limitFiles(rlim_t limit) {
    const rlimit limits{limit, RLIM_INFINITY};
    ASSERT_EQ(0, setrlimit(RLIMIT_FSIZE, &limits));
  }

  std::string m_strPath = std::string(FOLDER) + "/test.db";
  std::string m_strBallast = std::string(FOLDER) + "/ballast";
  Database m_pDb;
  std::unique_ptr<OrvaJsonDbApi> m_pTasks;
  std::unique_ptr<OrvaJsonDbApi> m_pRuns;
  TurnedClock m_clock;
};

constexpr long long SECOND = 1'000'000'000;
const char* const FULL = "database or disk is full";
const char* const STILL_FULL = "database or disk is full (gave up after 10 seconds)";

}  // namespace

TEST_F(Faults, FullDiskRefusesEveryWriteWholeAndIsUsableAgainWhenThereIsRoom) {
  open();
  Json::Value jOut;
  ASSERT_EQ(0, m_pTasks->recCreate(task("a", 10), jOut));
  fill();
  jOut = "untouched";
  EXPECT_EQ(-1, m_pTasks->recCreate(task("b", 20000), jOut));
  expectFailure("recCreate", STILL_FULL, ENOSPC);
  EXPECT_EQ(-1, m_pTasks->recUpdateByFilter(parse(R"({"task_name":"a"})"), task("a", 20000)));
  expectFailure("recUpdateByFilter", STILL_FULL, ENOSPC);
  EXPECT_EQ(-1, m_pTasks->recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"enable":true})")));
  expectFailure("recUpdateByFilter", STILL_FULL, ENOSPC);
  EXPECT_EQ(-1, m_pTasks->recDelete(parse(R"({"task_name":"a"})"), true));
  expectFailure("recDelete", STILL_FULL, ENOSPC);
  EXPECT_EQ(40 * SECOND, m_clock.slept());
  EXPECT_EQ("untouched", jOut.asString());
  EXPECT_NE(0, sqlite3_get_autocommit(m_pDb.get()));
  EXPECT_EQ(0, m_pTasks->recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ(10U, jOut["operation"].asString().size());
  EXPECT_EQ("a:10:0", tasks());
  makeRoom();
  EXPECT_EQ(0, m_pTasks->recCreate(task("b", 20000), jOut));
  EXPECT_EQ("a:10:0,b:20000:0", tasks());
}

TEST_F(Faults, DiskThatFillsUpKeepsEveryAcknowledgedRecord) {
  open();
  std::string strExpected;
  Json::Value jOut;
  int cTasks = 0;
  while (m_pTasks->recCreate(task("t" + std::to_string(cTasks), 5000), jOut) == 0) {
    strExpected += (cTasks == 0 ? "t" : ",t") + std::to_string(cTasks) + ":5000:0";
    ASSERT_LT(++cTasks, 1000);
  }
  expectFailure("recCreate", STILL_FULL, ENOSPC);
  EXPECT_GT(cTasks, 10);
  EXPECT_EQ(strExpected, tasks());
  close();
  EXPECT_EQ(strExpected, tasks());
}

TEST_F(Faults, WriteIsTriedAgainUntilTheDiskHasRoom) {
  open();
  Json::Value jOut;
  ASSERT_EQ(0, m_pTasks->recCreate(task("a", 10), jOut));
  fill();
  m_clock.atPause(5, &removeBallast, this);
  EXPECT_EQ(0, m_pTasks->recCreate(task("b", 20000), jOut));
  EXPECT_EQ(5U, m_clock.pauses().size());
  EXPECT_EQ("a:10:0,b:20000:0", tasks());
}

TEST_F(Faults, WriteIsTriedAgainUntilTheDiskTakesIt) {
  open();
  Json::Value jOut;
  ASSERT_EQ(0, m_pTasks->recCreate(task("a", 10), jOut));
  refuseWrites();
  m_clock.atPause(5, &allowWrites, nullptr);
  EXPECT_EQ(1, m_pTasks->recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"enable":true})")));
  EXPECT_EQ(5U, m_clock.pauses().size());
  refuseWrites();
  m_clock.atPause(8, &allowWrites, nullptr);
  EXPECT_EQ(0, m_pTasks->recCreate(task("b", 20000), jOut));
  EXPECT_EQ("a:10:1,b:20000:0", tasks());
  refuseWrites();
  m_clock.atPause(11, &allowWrites, nullptr);
  EXPECT_EQ(1, m_pTasks->recDelete(parse(R"({"task_name":"a"})"), true));
  EXPECT_EQ("b:20000:0", tasks());
}

TEST_F(Faults, WriteIsGivenUpWhenTheDiskStaysBroken) {
  open();
  Json::Value jOut;
  ASSERT_EQ(0, m_pTasks->recCreate(task("a", 10), jOut));
  refuseWrites();
  EXPECT_EQ(-1, m_pTasks->recCreate(task("b", 20000), jOut));
  allowWrites();
  EXPECT_THAT(takeLogLines(),
              ElementsAre(AllOf(HasSubstr("recCreate: disk I/O error"), HasSubstr("(gave up after 10 seconds)"))));
  EXPECT_EQ(10 * SECOND, m_clock.slept());
  EXPECT_EQ("a:10:0", tasks());
}

// SQLite may have rolled the transaction back, so a success outside of it would be wrong.
TEST_F(Faults, WriteInATransactionIsNotTriedAgain) {
  open();
  Json::Value jOut;
  ASSERT_EQ(0, m_pTasks->recCreate(task("a", 10), jOut));
  runSql(m_pDb.get(), "PRAGMA cache_size = 1; PRAGMA cache_spill = 1; BEGIN");
  ASSERT_EQ(0, m_pTasks->recCreate(task("b", 10), jOut));
  refuseWrites();
  EXPECT_EQ(-1, m_pTasks->recCreate(task("c", 200000), jOut));
  allowWrites();
  expectFailure("recCreate", "disk I/O error: File too large (not tried again: a transaction is open)", EFBIG);
  EXPECT_THAT(m_clock.pauses(), IsEmpty());
  EXPECT_NE(0, sqlite3_get_autocommit(m_pDb.get())) << "SQLite has rolled it back";
  EXPECT_EQ("a:10:0", tasks());
}

TEST_F(Faults, FullDiskMakesNoTables) {
  std::ofstream(m_strPath).close();
  fill();
  expectNoHandle(FULL, ENOSPC);
  makeRoom();
  open();
  Json::Value jOut;
  EXPECT_EQ(0, m_pTasks->recCreate(task("a", 10), jOut));
}

TEST_F(Faults, MigrationWithTooLittleRoomLeavesTheOldDatabaseWhateverItLacks) {
  makeOldDatabase(m_strPath);
  int cRefused = 0;
  for (fill(); !migrates(); ++cRefused) {
    EXPECT_THAT(takeLogLines(), ElementsAre(AnyOf(HasSubstr(FULL), HasSubstr("No space left on device"))));
    EXPECT_EQ(ENOSPC, KLIBCErrGet());
    EXPECT_THAT(files(), Not(Contains(HasSubstr("schema-0"))));
    makeRoom(4096);
  }
  EXPECT_THAT(takeLogLines(), ElementsAre(HasSubstr("is kept in")));
  // First there was no space for the log, then none for the copy, then none for the migration.
  EXPECT_GT(cRefused, 20);
  expectOldDatabase(m_strPath + ".schema-0");
  open();
  Json::Value jTasks;
  EXPECT_EQ(0, m_pTasks->recList(parse("{}"), jTasks));
  EXPECT_EQ(text(oldTasksAsRead()), text(jTasks));
}

TEST_F(Faults, ReadOnlyFileSystemHasNoPlaceForTheWriteAheadLog) {
  open();
  Json::Value jOut;
  ASSERT_EQ(0, m_pTasks->recCreate(task("a", 10), jOut));
  close();
  remount(MS_RDONLY);
  expectNoHandle("unable to open database file: Read-only file system", EROFS);
  remount(0);
  EXPECT_EQ("a:10:0", tasks());
}

TEST_F(Faults, ReadOnlyFileSystemIsReadWhereThereIsNoWriteAheadLog) {
  const std::string strSql = "CREATE TABLE IF NOT EXISTS task (task_name TEXT PRIMARY KEY); PRAGMA user_version = 1;";
  const Json::Value jDefinitions =
      parse(R"({"task":{"schema":1,"key":"task_name","columns":[{"name":"task_name","type":"text"}]}})");
  Json::Value jOut;
  {
    const Database pDb = openDatabase(m_strPath);
    OrvaJsonDbApi api(pDb.get(), "task", jDefinitions, strSql);
    ASSERT_EQ(0, api.recCreate(parse(R"({"task_name":"a"})"), jOut));
  }
  remount(MS_RDONLY);
  const Database pDb = openDatabase(m_strPath);
  OrvaJsonDbApi api(pDb.get(), "task", jDefinitions, strSql);
  EXPECT_EQ(0, api.recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ("a", jOut["task_name"].asString());
  jOut = "untouched";
  EXPECT_EQ(-1, api.recCreate(parse(R"({"task_name":"b"})"), jOut));
  expectFailure("recCreate", "attempt to write a readonly database", EROFS);
  EXPECT_EQ(-1, api.recDelete(parse(R"({"task_name":"a"})"), true));
  expectFailure("recDelete", "attempt to write a readonly database", EROFS);
  EXPECT_EQ("untouched", jOut.asString());
}

TEST_F(Faults, OldDatabaseOnAReadOnlyFileSystemStaysOld) {
  makeOldDatabase(m_strPath);
  remount(MS_RDONLY);
  expectNoHandle("unable to open database file: Read-only file system", EROFS);
  remount(0);
  EXPECT_THAT(files(), ElementsAre("test.db"));
  expectOldDatabase(m_strPath);
}

TEST_F(Faults, MissingFolderStaysMissing) {
  m_strPath = std::string(FOLDER) + "/missing/test.db";
  expectNoHandle("unable to open database file: No such file or directory", ENOENT);
  EXPECT_THAT(files(), IsEmpty());
}

TEST_F(Faults, FolderInTheDatabasesPlaceIsRefused) {
  m_strPath = FOLDER;
  expectNoHandle("unable to open database file: Is a directory", EISDIR);
  EXPECT_THAT(files(), IsEmpty());
}
