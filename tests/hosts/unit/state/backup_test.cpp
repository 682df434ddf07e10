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
    OrvaTest::writeFile(CONFIG_PATH, R"({"eorvascheduler": []})");
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

TEST_F(BackupOwners, ThatAnOlderBackupDoesNotNameAreTakenAsNumberedWithAWarning) {
  sqlite3* pDb = nullptr;
  ASSERT_EQ(sqlite3_open(m_strBackup.c_str(), &pDb), SQLITE_OK);
  EXPECT_EQ(sqlite3_exec(pDb, "drop table backup_owner", nullptr, nullptr, nullptr), SQLITE_OK);
  sqlite3_close(pDb);
  useOnly({{"bob", 7001}});
  EXPECT_THAT(restore(m_strBackup), testing::ElementsAre(HasSubstr("has no names of task owners")));
  EXPECT_EQ(taskCount(), 2U);
}
