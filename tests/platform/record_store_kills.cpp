// Killed processes: acknowledged changes are stored; other changes are stored completely or not at all.

#include <csignal>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <random>
#include <set>
#include <sys/wait.h>
#include <unistd.h>

#include "old_database.h"
#include "record_store_fixture.h"
#include "together.h"

namespace fs = std::filesystem;

namespace {

// --- at every change of a file ------------------------------------------------------------------------------------

long g_cChangesLeft = 0;

void beforeAChange() {
  if (g_cChangesLeft-- == 0) {
    kill(getpid(), SIGKILL);
  }
}

ssize_t countedWrite(int fd, const void* pBytes, size_t cbBytes, off64_t iOffset) {
  beforeAChange();
  return pwrite64(fd, pBytes, cbBytes, iOffset);
}

int countedTruncate(int fd, off64_t cbFile) {
  beforeAChange();
  return ftruncate64(fd, cbFile);
}

int countedUnlink(const char* szPath) {
  beforeAChange();
  return unlink(szPath);
}

// SQLite looks its system calls up in a table that programs may change.
template <typename Function>
void takeOver(const char* szName, Function* pFunction) {
  sqlite3_vfs* pVfs = sqlite3_vfs_find(nullptr);
  EXPECT_EQ(SQLITE_OK, pVfs->xSetSystemCall(pVfs, szName, reinterpret_cast<sqlite3_syscall_ptr>(pFunction)));
}

/// Migrates in a process that dies before its n-th change (from 0).
/// \return true when it was not killed.
bool migrateUntilChange(const std::string& strPath, long cChanges) {
  const pid_t pid = fork();
  if (pid == 0) {
    g_cChangesLeft = cChanges;
    takeOver("pwrite64", &countedWrite);
    takeOver("pwrite", &countedWrite);
    takeOver("ftruncate", &countedTruncate);
    takeOver("unlink", &countedUnlink);
    {
      const Database pDb = openDatabase(strPath);
      const OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
    }
    _exit(0);
  }
  int iStatus = 0;
  EXPECT_EQ(pid, waitpid(pid, &iStatus, 0));
  EXPECT_TRUE(WIFSIGNALED(iStatus) || WEXITSTATUS(iStatus) == 0);
  return WIFEXITED(iStatus);
}

int keptCopies(const std::string& strFolder) {
  int cCopies = 0;
  for (const auto& entry : fs::directory_iterator(strFolder)) {
    const std::string strName = entry.path().filename();
    if (strName.find(".schema-0") != std::string::npos && strName.find(".new") == std::string::npos) {
      expectOldDatabase(entry.path());
      ++cCopies;
    }
  }
  return cCopies;
}

void expectNewRows(const std::string& strPath) {
  const Database pDb = openDatabase(strPath);
  OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
  OrvaJsonDbApi results(pDb.get(), "task_result", installedDefinitions(), installedSql());
  Json::Value jRows;
  ASSERT_EQ(0, tasks.recList(parse("{}"), jRows));
  EXPECT_EQ(text(oldTasksAsRead()), text(jRows));
  ASSERT_EQ(0, results.recList(parse("{}"), jRows));
  EXPECT_EQ(text(oldResultsAsRead()), text(jRows));
  EXPECT_EQ("ok", queryText(pDb.get(), "PRAGMA integrity_check"));
}

// --- at random moments --------------------------------------------------------------------------------------------

constexpr int LANES = 4;
constexpr int KILLS_OF_A_LANE = 250;
constexpr int STEPS = 4;

/// A series of writers, each of which is killed. They change tasks that no other process writes.
///
/// Each task has four steps: it is created, one member is changed, all members are changed, and then it is deleted
/// (every second task) or run.
class Lane {
public:
  Lane(const std::string& strPath, int iLane) : m_strPath(strPath), m_iLane(iLane), m_random(unsigned(iLane) + 1) {}

  /// \return 0 when every acknowledged step is there, and no step was refused.
  int run() {
    for (int iKill = 0; iKill < KILLS_OF_A_LANE; ++iKill) {
      if (!oneWriter()) {
        return 1;
      }
    }
    // Most steps must be acknowledged, otherwise the test checks too little.
    return m_cAcknowledged < KILLS_OF_A_LANE ? 2 : verify();
  }

private:
  bool oneWriter() {
    int ends[2];
    if (pipe(ends) != 0) {
      return false;
    }
    const auto cStepsBefore = m_random() % 8;
    const auto iMicroseconds = m_random() % 3000;
    const pid_t pid = fork();
    if (pid == 0) {
      close(ends[0]);
      _exit(write(ends[1], cStepsBefore, static_cast<long>(iMicroseconds)));
    }
    close(ends[1]);
    int iTask = m_iNextTask;
    char cStep = 0;
    while (read(ends[0], &cStep, 1) == 1) {
      m_acknowledged[iTask] = cStep;
      iTask += cStep == STEPS - 1 ? 1 : 0;
      ++m_cAcknowledged;
    }
    close(ends[0]);
    // The next step of this task may have begun; the task is not used again.
    m_acknowledged.try_emplace(iTask, -1);
    m_begun.insert(iTask);
    m_iNextTask = iTask + 1;
    int iStatus = 0;
    return waitpid(pid, &iStatus, 0) == pid && WIFSIGNALED(iStatus);
  }

  static void killSoon(long iMicroseconds) {
    sigevent event{};
    event.sigev_notify = SIGEV_SIGNAL;
    event.sigev_signo = SIGKILL;
    timer_t timer{};
    const itimerspec when{{0, 0}, {0, iMicroseconds * 1000 + 1}};
    if (timer_create(CLOCK_MONOTONIC, &event, &timer) != 0 || timer_settime(timer, 0, &when, nullptr) != 0) {
      _exit(2);
    }
  }

  // Returns only when a step had a wrong result.
  int write(int fdAcknowledge, unsigned long cStepsBefore, long iMicroseconds) noexcept {
    if (cStepsBefore == 0) {
      killSoon(iMicroseconds);
    }
    const Database pDb = openDatabase(m_strPath);
    OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
    OrvaJsonDbApi runs(pDb.get(), "task_result", installedDefinitions(), installedSql());
    for (unsigned long cSteps = 0;; ++cSteps) {
      if (cSteps == cStepsBefore && cSteps != 0) {
        killSoon(iMicroseconds);
      }
      const int iTask = m_iNextTask + static_cast<int>(cSteps) / STEPS;
      const char cStep = static_cast<char>(cSteps % STEPS);
      if (!takeStep(tasks, runs, iTask, cStep) || ::write(fdAcknowledge, &cStep, 1) != 1) {
        return 1;
      }
    }
  }

  std::string nameOf(int iTask) const { return "lane" + std::to_string(m_iLane) + "-" + std::to_string(iTask); }

  bool takeStep(OrvaJsonDbApi& tasks, OrvaJsonDbApi& runs, int iTask, int iStep) const {
    Json::Value jTask;
    jTask["task_name"] = nameOf(iTask);
    const Json::Value jFilter = jTask;
    Json::Value jOut;
    if (iStep == 0) {
      jTask["owner"] = m_iLane;
      return tasks.recCreate(jTask, jOut) == 0;
    }
    if (iStep == 1) {
      return tasks.recUpdateByFilter(jFilter, parse(R"({"last_start_time":1})")) == 1;
    }
    if (iStep == 2) {
      const bool blRead = tasks.recGetOne(jFilter, jTask) == 0 && jTask["last_start_time"] == 1;
      jTask["last_start_time"] = 2;
      jTask["operation"] = std::string(9000, 'x');
      return blRead && tasks.recUpdateByFilter(jFilter, jTask) == 1;
    }
    return iTask % 2 == 1 ? tasks.recDelete(jFilter, true) == 1 : runs.recCreate(jFilter, jOut) == 0;
  }

  // The last step of a task according to the tables; none when no step leaves this state.
  std::optional<int> stepSeen(OrvaJsonDbApi& tasks, OrvaJsonDbApi& runs, int iTask, bool blCreated) const {
    Json::Value jFilter;
    jFilter["task_name"] = nameOf(iTask);
    Json::Value jTask;
    Json::Value jRuns;
    if (tasks.recGetOne(jFilter, jTask) != 0 || runs.recList(jFilter, jRuns) != 0) {
      return std::nullopt;
    }
    if (jTask.isNull()) {
      return blCreated && iTask % 2 == 1 ? 3 : -1;
    }
    const bool blLong = jTask["operation"].asString() == std::string(9000, 'x');
    const int iTime = jTask.get("last_start_time", 0).asInt();
    if (blLong != (iTime == 2) || jRuns.size() > (iTime == 2 ? 1U : 0U)) {
      return std::nullopt;
    }
    return jRuns.empty() ? iTime : 3;
  }

  int verify() const {
    const Database pDb = openDatabase(m_strPath);
    OrvaJsonDbApi tasks(pDb.get(), "task", installedDefinitions(), installedSql());
    OrvaJsonDbApi runs(pDb.get(), "task_result", installedDefinitions(), installedSql());
    for (const auto& [iTask, iStep] : m_acknowledged) {
      const std::optional<int> seen = stepSeen(tasks, runs, iTask, iStep >= 0);
      const bool blBegun = m_begun.count(iTask) != 0;
      if (!seen || (*seen != iStep && !(blBegun && *seen == iStep + 1))) {
        fprintf(stderr, "%s: acknowledged %d, seen %d\n", nameOf(iTask).c_str(), iStep, seen.value_or(-9));
        return 3;
      }
    }
    return 0;
  }

  std::string m_strPath;
  int m_iLane;
  std::minstd_rand m_random;
  int m_iNextTask = 0;
  int m_cAcknowledged = 0;
  std::map<int, int> m_acknowledged;
  std::set<int> m_begun;
};

}  // namespace

TEST(Kills, MigrationKilledBeforeAnyChangeOfAFileLeavesOldOrNew) {
  const TempFolder folder;
  const std::string strOriginal = folder.path("original.db");
  makeOldDatabase(strOriginal);
  int cOld = 0;
  int cNew = 0;
  for (long cChanges = 0;; ++cChanges) {
    SCOPED_TRACE(cChanges);
    const std::string strFolder = folder.path(std::to_string(cChanges));
    const std::string strPath = strFolder + "/test.db";
    fs::create_directory(strFolder);
    fs::copy_file(strOriginal, strPath);
    if (migrateUntilChange(strPath, cChanges)) {
      break;
    }
    const bool blNew = queryText(openDatabase(strPath).get(), "PRAGMA user_version") != "0";
    ++(blNew ? cNew : cOld);
    if (!blNew) {
      expectOldDatabase(strPath);
    }
    const int cCopies = keptCopies(strFolder);
    EXPECT_TRUE(cCopies == 1 || (cCopies == 0 && !blNew));
    expectNewRows(strPath);
    EXPECT_EQ(blNew ? cCopies : cCopies + 1, keptCopies(strFolder));
    if (testing::Test::HasFailure()) {
      break;
    }
    fs::remove_all(strFolder);
  }
  EXPECT_GT(cOld, 10);
  EXPECT_GT(cNew, 0);
  takeLogLines();
}

TEST(Kills, EveryAcknowledgedWriteOfAThousandKilledWritersIsThere) {
  const TempFolder folder;
  const std::string strPath = folder.path("test.db");
  const std::vector<int> results = runTogether(LANES, [&](int iLane) {
    const int iResult = Lane(strPath, iLane).run();
    for (const std::string& strLine : takeLogLines()) {
      fprintf(stderr, "%s\n", strLine.c_str());
    }
    return iResult;
  });
  EXPECT_EQ(std::vector<int>(LANES, 0), results);
  const Database pDb = openDatabase(strPath);
  EXPECT_EQ("ok", queryText(pDb.get(), "PRAGMA integrity_check"));
  EXPECT_EQ("(no row)", queryText(pDb.get(), "PRAGMA foreign_key_check"));
}
