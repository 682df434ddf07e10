/// A backup has everything in the store, and writes only the requested file.

#include "common/state/backup.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <gmock/gmock.h>
#include <sqlite3.h>
#include <sys/inotify.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "common/state/backup_target.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/unique_fd.h"
#include "fresh_host.h"
#include "remedy.h"
#include "support/files.h"
#include "support/processes.h"
#include "support/users.h"

using namespace Host;
using testing::HasSubstr;

namespace {

constexpr std::streamoff CB_PAGE = 4096;
constexpr char WITH_LONG_SCRIPT[] =
    "insert into task (task_name, owner, event, operation_type, operation) "
    "values ('{}', 0, 'daily', 'script', hex(zeroblob(3000)))";

std::string whyNot(const std::function<void()>& what) {
  try {
    what();
  } catch (const Failure& failure) {
    return failure.what();
  }
  return {};
}

std::vector<std::string> restore(const std::string& strFile, Owners owners = Owners::THE_SAME) {
  const ReadBackup backup = readBackup(strFile, owners);
  restoreBackup(backup);
  return backup.vecWarnings;
}

class BackupFile : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    OrvaTest::writeFile(CONFIG_PATH, R"({"eorvascheduler": {}})");
    const Session session(Session::Store::CREATE);
    execute(session, fmt::format(WITH_LONG_SCRIPT, "first"));
  }

  static void execute(const Session& session, const std::string& strSql) {
    ASSERT_EQ(sqlite3_exec(session.db(), strSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK)
        << sqlite3_errmsg(session.db());
  }

  /// As a disk does that loses what a page holds.
  static void damageStore() {
    {
      const Session session;
      for (int i = 0; i < 20; ++i) {
        execute(session, fmt::format(WITH_LONG_SCRIPT, i));
      }
      execute(session, "pragma wal_checkpoint(truncate)");
    }
    std::fstream store(DATABASE_PATH, std::ios::in | std::ios::out | std::ios::binary);
    const std::string strNoise(CB_PAGE, '\x5a');
    store.seekp(-2 * CB_PAGE, std::ios::end);
    store.write(strNoise.data(), CB_PAGE);
  }

  /// As another program changes a database.
  static void change(const std::string& strFile, const std::string& strSql) {
    const Database database = openDatabase(strFile, SQLITE_OPEN_READWRITE, nullptr, strFile);
    Host::execute(database, strSql.c_str(), strFile);
  }

  static std::size_t taskCount() {
    Session session;
    return listTasks(session).size();
  }

  OrvaTest::TempDir m_folder;
};

/// Puts a link in the place of whatever is made in a folder, as fast as it can.
[[noreturn]] void swapWhatIsMade(int fdNotify, const std::string& strFolder, const std::string& strVictim) {
  alignas(inotify_event) char buffer[4096];
  const std::string strLink = strFolder + "/link";
  while (read(fdNotify, buffer, sizeof(buffer)) > 0) {
    const auto* const pEvent = reinterpret_cast<const inotify_event*>(buffer);
    const std::string strMade = strFolder + "/" + pEvent->name;
    if (strMade != strLink && symlink(strVictim.c_str(), strLink.c_str()) == 0) {
      std::rename(strLink.c_str(), strMade.c_str());
    }
  }
  _exit(0);
}

/// Waits until a process blocks the signals that would end it, or has ended.
void waitUntilPatient(pid_t pid) {
  const std::string strPath = fmt::format("/proc/{}/status", pid);
  for (;;) {
    const std::string strStatus = OrvaTest::readFile(strPath);
    if (strStatus.find("SigBlk:\t0000000000004007") != std::string::npos ||
        strStatus.find("State:\tZ") != std::string::npos) {
      return;
    }
    std::this_thread::yield();
  }
}

}  // namespace

TEST_F(BackupFile, ADamagedStoreDoesNotTakeThePlaceOfAGoodBackup) {
  const std::string strFile = m_folder.path("kept.db");
  writeBackup(strFile);
  const std::string strGood = OrvaTest::readFile(strFile);
  damageStore();
  const std::string strWhy = whyNot([&] { writeBackup(strFile); });
  EXPECT_THAT(strWhy, HasSubstr("the store /usr/orva/etc/eorvascheduler/eorvascheduler.db is damaged"));
  EXPECT_THAT(strWhy, HasSubstr(strFile + " is not written"));
  EXPECT_EQ(HostTest::remedyFor([&] { writeBackup(strFile); }), Hint::RESTORE_BACKUP);
  EXPECT_TRUE(OrvaTest::readFile(strFile) == strGood);
}

TEST_F(BackupFile, ABackupThatCannotBeReadHereIsNotReplacedByOneWithoutTasks) {
  for (const char* szForeign : {"pragma user_version = 99", "create view v as select 1"}) {
    const std::string strFile = m_folder.path("foreign.db");
    writeBackup(strFile, EmptyBackup::ALLOWED);
    change(strFile, szForeign);
    change(DATABASE_PATH, "delete from task");
    const std::string strKept = OrvaTest::readFile(strFile);
    EXPECT_THAT(whyNot([&] { writeBackup(strFile); }), HasSubstr("it is not replaced: " + strFile));
    EXPECT_EQ(HostTest::remedyFor([&] { writeBackup(strFile); }), Hint::REPLACE_BACKUP);
    EXPECT_TRUE(OrvaTest::readFile(strFile) == strKept);
    EXPECT_EQ(whyNot([&] { writeBackup(strFile, EmptyBackup::ALLOWED); }), "");
  }
}

TEST_F(BackupFile, AFileThatIsNoDatabaseIsReplacedByABackupWithoutTasks) {
  change(DATABASE_PATH, "delete from task");
  for (const char* szText : {"", "no database"}) {
    OrvaTest::writeFile(m_folder.path("other"), szText);
    EXPECT_EQ(whyNot([&] { writeBackup(m_folder.path("other")); }), "");
  }
}

TEST_F(BackupFile, AnOlderBackupIsMigratedBeforeItReplacesTheStore) {
  const std::string strFile = m_folder.path("kept.db");
  writeBackup(strFile);
  change(strFile, "insert into task_result (task_name) values ('first'); pragma user_version = 2");
  const ReadBackup backup = readBackup(strFile, Owners::THE_SAME);
  EXPECT_EQ(firstText(backup.store, "pragma user_version", strFile),
            firstText(openStore(), "pragma user_version", DATABASE_PATH));
  EXPECT_EQ(firstText(backup.store, "select owner from task_result", strFile), "0");
}

TEST_F(BackupFile, AStoreWithOtherPagesIsRestored) {
  writeBackup(m_folder.path("kept.db"));
  change(DATABASE_PATH, "pragma journal_mode = delete; pragma page_size = 8192; vacuum; pragma journal_mode = wal");
  EXPECT_EQ(whyNot([&] { restore(m_folder.path("kept.db")); }), "");
  EXPECT_EQ(taskCount(), 1U);
}

TEST_F(BackupFile, AConfigurationThatCannotBeReadIsNotRestored) {
  const std::string strFile = m_folder.path("kept.db");
  writeBackup(strFile);
  for (const char* szContent : {"x'00ff7b'", "cast('{\"eorvascheduler\": []}' as blob)", "cast('[1]' as blob)"}) {
    change(strFile, fmt::format("update backup_file set content = {} where path like '%json'", szContent));
    EXPECT_THAT(whyNot([&] { restore(strFile); }), testing::AllOf(HasSubstr(strFile), HasSubstr(CONFIG_PATH)));
  }
  writeBackup(strFile);
  change(strFile, fmt::format("insert or replace into backup_file values ('{}', zeroblob(17 << 20))", SETTINGS_PATH));
  EXPECT_THAT(whyNot([&] { restore(strFile); }), HasSubstr(SETTINGS_PATH));
}

TEST_F(BackupFile, AConfigurationThatCannotBeReadIsReplaced) {
  writeBackup(m_folder.path("kept.db"));
  OrvaTest::writeFile(CONFIG_PATH, std::string(17 << 20, ' '));
  EXPECT_EQ(whyNot([&] { restore(m_folder.path("kept.db")); }), "");
  EXPECT_EQ(OrvaTest::readFile(CONFIG_PATH), R"({"eorvascheduler": {}})");
}

TEST_F(BackupFile, WriterOfItsFolderCannotLeadItElsewhere) {
  const std::string strVictim = m_folder.path("victim");
  const std::string strFolder = m_folder.path("shared");
  OrvaTest::writeFile(strVictim, "untouched");
  std::filesystem::create_directory(strFolder);
  const UniqueFd notify(inotify_init1(IN_CLOEXEC));
  ASSERT_GE(inotify_add_watch(notify.get(), strFolder.c_str(), IN_CREATE), 0);
  const pid_t pidAttacker = fork();
  if (pidAttacker == 0) {
    swapWhatIsMade(notify.get(), strFolder, strVictim);
  }
  for (int i = 0; i < 20; ++i) {
    whyNot([&] { writeBackup(strFolder + "/kept.db"); });
    std::filesystem::remove(strFolder + "/kept.db");
  }
  OrvaTest::endChildren();
  EXPECT_EQ(OrvaTest::readFile(strVictim), "untouched");
}

TEST_F(BackupFile, AFolderThatIsSwappedAfterItWasLookedAtLeadsNowhere) {
  const std::string strFolder = m_folder.path("shared");
  std::filesystem::create_directory(strFolder);
  OrvaTest::writeFile(m_folder.path("other/kept.db"), "untouched");
  const BackupTarget target(strFolder + "/kept.db");
  std::filesystem::rename(strFolder, m_folder.path("real"));
  std::filesystem::create_symlink(m_folder.path("other"), strFolder);
  target.write([](int fd) { ASSERT_EQ(write(fd, "content", 7), 7); });
  EXPECT_EQ(OrvaTest::readFile(m_folder.path("other/kept.db")), "untouched");
  EXPECT_EQ(OrvaTest::readFile(m_folder.path("real/kept.db")), "content");
}

TEST_F(BackupFile, NothingIsRestoredFromALink) {
  writeBackup(m_folder.path("kept.db"));
  std::filesystem::create_symlink("kept.db", m_folder.path("link.db"));
  EXPECT_THAT(whyNot([&] { restore(m_folder.path("link.db")); }), HasSubstr("it is a link"));
}

TEST_F(BackupFile, ATableThatACutOffRestoreHasLeftIsNoObstacle) {
  {
    const Session session;
    execute(session, "create table backup_file (path text primary key not null, content blob not null) strict");
    execute(session, "insert into backup_file values ('/etc/eorva.conf', cast('stale' as blob))");
  }
  writeBackup(m_folder.path("kept.db"));
  restore(m_folder.path("kept.db"));
  const Session session;
  sqlite3_stmt* pStatement = nullptr;
  EXPECT_NE(sqlite3_prepare_v2(session.db(), "select * from backup_file", -1, &pStatement, nullptr), SQLITE_OK);
  EXPECT_FALSE(OrvaTest::fileExists(SETTINGS_PATH) && OrvaTest::readFile(SETTINGS_PATH) == "stale");
}

TEST_F(BackupFile, ASignalDuringTheRestoreWaitsUntilAllIsThere) {
  OrvaTest::writeFile(SETTINGS_PATH, "retention_runs=7\n");
  writeBackup(m_folder.path("kept.db"));
  OrvaTest::writeFile(SETTINGS_PATH, "retention_runs=8\n");
  int fds[2];
  ASSERT_EQ(pipe(fds), 0);
  UniqueFd begin(fds[0]);
  UniqueFd go(fds[1]);
  // Connections to the store do not survive a fork.
  const pid_t pid = fork();
  if (pid == 0) {
    go.reset();
    char c = 0;
    [[maybe_unused]] const ssize_t cb = read(begin.get(), &c, 1);
    _exit(whyNot([&] { restore(m_folder.path("kept.db")); }).empty() ? 0 : 1);
  }
  {
    Session session;
    execute(session, fmt::format(WITH_LONG_SCRIPT, "second"));
    // While somebody writes, the restore has to wait.
    const WriteLock lock(session);
    go.reset();
    waitUntilPatient(pid);
    kill(pid, SIGTERM);
  }
  int iStatus = 0;
  ASSERT_EQ(waitpid(pid, &iStatus, 0), pid);
  EXPECT_TRUE(WIFSIGNALED(iStatus) && WTERMSIG(iStatus) == SIGTERM);
  EXPECT_EQ(taskCount(), 1U);
  EXPECT_EQ(OrvaTest::readFile(SETTINGS_PATH), "retention_runs=7\n");
}

namespace {

class BackupOwners : public BackupFile {
protected:
  void SetUp() override {
    BackupFile::SetUp();
    m_strUsers = OrvaTest::readFile("/etc/passwd");
    OrvaTest::addUser("alice", 7001, 7001);
    {
      const Session session;
      execute(session, "insert into task (task_name, owner, event) values ('nightly', 7001, 'daily')");
    }
    writeBackup(m_strBackup);
    const Session session;
    execute(session, "delete from task where task_name = 'nightly'");
  }
  void TearDown() override { OrvaTest::writeFile("/etc/passwd", m_strUsers); }

  /// The numbers of users on another server.
  void useOnly(const std::vector<std::pair<std::string, uid_t>>& vecUsers) const {
    OrvaTest::writeFile("/etc/passwd", m_strUsers);
    for (const auto& [strUser, uid] : vecUsers) {
      OrvaTest::addUser(strUser, uid, uid);
    }
  }

  std::string whyNotRestored() const {
    return whyNot([&] { restore(m_strBackup); });
  }

  std::string m_strBackup = m_folder.path("kept.db");
  std::string m_strUsers;
};

}  // namespace

TEST_F(BackupOwners, TheSameUsersNeedNoWord) {
  EXPECT_TRUE(restore(m_strBackup).empty());
  EXPECT_EQ(taskCount(), 2U);
}

TEST_F(BackupOwners, ANumberThatIsAnotherUsersHereRestoresNothing) {
  useOnly({{"alice", 7002}, {"bob", 7001}});
  const std::string strWhy = whyNotRestored();
  EXPECT_THAT(strWhy, HasSubstr("task \"nightly\": its owner 7001 was alice; here 7001 is bob, and "
                                "alice is 7002"));
  EXPECT_THAT(strWhy, testing::Not(HasSubstr("first")));
  EXPECT_EQ(HostTest::remedyFor([&] { restore(m_strBackup); }), Hint::KEEP_OWNER_IDS);
  EXPECT_EQ(taskCount(), 1U);
}

TEST_F(BackupOwners, ANumberThatIsNobodysHereRestoresNothing) {
  useOnly({});
  EXPECT_THAT(whyNotRestored(), HasSubstr("here 7001 is no user, and there is no user alice"));
  EXPECT_EQ(taskCount(), 1U);
}

TEST_F(BackupOwners, ANumberThatWasNobodysAndIsSomebodysHereRestoresNothing) {
  useOnly({});
  {
    const Session session;
    execute(session, "update task set owner = 7001");
  }
  writeBackup(m_strBackup);
  useOnly({{"bob", 7001}});
  EXPECT_THAT(whyNotRestored(), HasSubstr("its owner 7001 had no name, and is bob here"));
}

TEST_F(BackupOwners, AreTakenAsNumberedWhenThatIsMeant) {
  useOnly({{"bob", 7001}});
  EXPECT_TRUE(restore(m_strBackup, Owners::AS_NUMBERED).empty());
  EXPECT_EQ(taskCount(), 2U);
}

TEST_F(BackupOwners, AreNamedBeforeTheStoreIsReplaced) {
  const auto ownerIn = [](const ReadBackup& backup) {
    return firstText(backup.store, "select owner_name from task where task_name = 'nightly'", "the store");
  };
  EXPECT_EQ(ownerIn(readBackup(m_strBackup, Owners::THE_SAME)), "alice");
  useOnly({{"bob", 7001}});
  EXPECT_EQ(ownerIn(readBackup(m_strBackup, Owners::AS_NUMBERED)), "bob");
}

TEST_F(BackupOwners, ThatAnOlderBackupDoesNotNameAreTakenAsNumberedWithAWarning) {
  sqlite3* pDb = nullptr;
  ASSERT_EQ(sqlite3_open(m_strBackup.c_str(), &pDb), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(pDb, "drop table backup_owner", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(pDb);
  useOnly({{"bob", 7001}});
  EXPECT_THAT(restore(m_strBackup), testing::ElementsAre(HasSubstr("has no names of task owners")));
  EXPECT_EQ(taskCount(), 2U);
}
