/// A backup may come from anybody: only its rows are read, and reading it takes as long as its size explains.

#include <chrono>
#include <fmt/format.h>
#include <functional>
#include <gmock/gmock.h>
#include <random>
#include <sqlite3.h>

#include "common/state/initialize.h"
#include "common/state/restore.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;
using testing::HasSubstr;

namespace {

class HostileBackup : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    initialize("");
    run(DATABASE_PATH,
        "insert into task (task_name, owner, event, operation) values ('kept', 0, 'daily', 'exit 0');"
        "insert into task_result (task_name, start_time, stop_time) values ('kept', 1000, 1001), ('kept', 2000, 2001)");
    writeBackup(m_strBackup);
    run(DATABASE_PATH, "update task set operation = 'newer'");
    m_strStore = dump();
  }

  static void run(const std::string& strPath, const std::string& strSql) {
    sqlite3* pDb = nullptr;
    ASSERT_EQ(sqlite3_open(strPath.c_str(), &pDb), SQLITE_OK);
    EXPECT_EQ(sqlite3_exec(pDb, strSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << sqlite3_errmsg(pDb);
    sqlite3_close(pDb);
  }

  /// Everything that the store holds, its schema included.
  static std::string dump() {
    const Session session;
    std::string strDump;
    for (const char* szSql : {"select type || name || ifnull(sql, '') from sqlite_schema order by 1",
                              "select task_name || owner || operation from task order by 1",
                              "select result_id || ' ' || task_name || ' ' || stop_time from task_result order by 1"}) {
      const auto add = [](void* pDump, int, char** pszValues, char**) {
        static_cast<std::string*>(pDump)->append(*pszValues).append("\n");
        return 0;
      };
      EXPECT_EQ(sqlite3_exec(session.db(), szSql, add, &strDump, nullptr), SQLITE_OK);
    }
    return strDump;
  }

  /// \return why the backup was refused; empty when it was restored.
  std::string restoreNow() const {
    try {
      restore(m_strBackup, Owners::THE_SAME);
    } catch (const Failure& failure) {
      EXPECT_EQ(dump(), m_strStore);
      EXPECT_THAT(failure.what(), HasSubstr(m_strBackup));
      return failure.what();
    }
    return {};
  }

  OrvaTest::TempDir m_folder;
  std::string m_strBackup = m_folder.path("kept.db");
  std::string m_strStore;
};

struct Attack {
  const char* szName;
  const char* szSql;
  const char* szWhy;
};

class BackupAttack : public HostileBackup, public testing::WithParamInterface<Attack> {};

const Attack ATTACKS[] = {
    {"Trigger",
     "create trigger t after update on task begin update task set owner = 0 where task_name = new.task_name; end",
     "has \"t\""},
    {"View", "create view v as select 1", "has \"v\""},
    {"ViewForATable",
     "alter table task_result rename to hidden; create view task_result as with recursive n(i) as (select 1 union all "
     "select i + 1 from n) select i as result_id from n",
     "has \"task_result\""},
    {"VirtualTable", "create virtual table f using fts5(x)", "has \"f\""},
    {"OtherTable", "create table t (a)", "has \"t\""},
    {"OtherColumn", "alter table task add column more text", "has \"task.more\""},
    {"ComputedColumn",
     "create table other as select * from backup_owner; drop table backup_owner; create table backup_owner (uid "
     "integer "
     "primary key, name text as (hex(zeroblob(100000000)))); drop table other",
     "has \"backup_owner.name\""},
    {"TriggerThatIsCalledATable",
     "create trigger t after update on task begin select 1; end; pragma writable_schema = on; update sqlite_schema set "
     "type = 'table', rootpage = 2 where name = 't'",
     "malformed database schema"},
    {"VersionZero", "pragma user_version = 0", "has schema version 0"},
    {"VersionBelowZero", "pragma user_version = -1", "has schema version -1"},
    {"NewerVersion", "pragma user_version = 1000", "has schema version 1000"},
    {"NoTasks", "drop table task_result", "lacks the table \"task_result\""},
    {"OwnerThatIsNoNumber",
     "pragma writable_schema = on; update sqlite_schema set sql = 'create table task (task_name primary key, event, "
     "depend_on_task, enable, owner, run_the_same_time, notify_enable, notify_if_error, time_limit, last_start_time, "
     "last_stop_time, operation_type, status, last_exit_info, notify_mail, description, operation)' where name = "
     "'task'; pragma writable_schema = reset; update task set owner = 0.5",
     "task \"kept\" is not valid"},
    {"NumberThatLeavesNone", "insert into task_result (result_id, task_name) values (9223372036854775807, 'kept')",
     "has a number that is not between"},
};

}  // namespace

TEST_P(BackupAttack, IsRefusedAndTheStoreIsUnchanged) {
  run(m_strBackup, GetParam().szSql);
  EXPECT_THAT(restoreNow(), HasSubstr(GetParam().szWhy));
}

INSTANTIATE_TEST_SUITE_P(Of, BackupAttack, testing::ValuesIn(ATTACKS),
                         [](const testing::TestParamInfo<Attack>& attack) { return std::string(attack.param.szName); });

TEST_F(HostileBackup, IndexesOfTheFileAreNotRead) {
  // An index that says that no run is stored.
  run(m_strBackup, "create index not_ours on task_result (pid) where pid is not null");
  EXPECT_EQ(restoreNow(), "");
  EXPECT_THAT(dump(), testing::Not(HasSubstr("not_ours")));
}

TEST_F(HostileBackup, RunsOfUnknownTasksAreLeftOutWithAWarning) {
  run(m_strBackup, "insert into task_result (task_name, start_time, stop_time) values ('lost', 1, 2)");
  const Restored restored = restore(m_strBackup, Owners::THE_SAME);
  EXPECT_THAT(restored.vecWarnings, testing::ElementsAre(HasSubstr("1 runs of tasks that are not in")));
  EXPECT_THAT(dump(), testing::Not(HasSubstr("lost")));
}

TEST_F(HostileBackup, NoRunsLeftOutAreNotMentioned) {
  run(m_strBackup, "insert into firing_task (firing_id, task_name, reasons) values (99, 'kept', '[]')");
  EXPECT_TRUE(restore(m_strBackup, Owners::THE_SAME).vecWarnings.empty());
}

TEST_F(HostileBackup, NumbersOfRemovedRunsAreNotUsedAgain) {
  run(DATABASE_PATH, "delete from task_result");
  writeBackup(m_strBackup);
  restore(m_strBackup, Owners::THE_SAME);
  run(DATABASE_PATH, "insert into task_result (task_name, start_time, stop_time) values ('kept', 1, 2)");
  EXPECT_THAT(dump(), HasSubstr("3 kept 2"));
}

namespace {

/// A part of a thousand mutated files.
class MutatedBackup : public HostileBackup, public testing::WithParamInterface<unsigned> {};

constexpr unsigned PARTS = 10;
constexpr unsigned FILES_A_PART = 100;

/// Changes a few bytes, mostly in the beginning of a page, or cuts the file.
std::string mutated(std::string strFile, std::mt19937& random) {
  constexpr std::size_t CB_PAGE = 4096;
  const auto below = [&](std::size_t cEnd) { return random() % cEnd; };
  if (below(10) == 0) {
    strFile.resize(below(strFile.size()));
    return strFile;
  }
  for (std::size_t i = below(8) + 1; i > 0; --i) {
    const std::size_t iPage = below(strFile.size() / CB_PAGE) * CB_PAGE;
    const std::size_t iByte = iPage + (below(2) == 0 ? below(120) : below(CB_PAGE));
    const std::size_t cb = below(4) + 1;
    for (std::size_t iNext = iByte; iNext < std::min(iByte + cb, strFile.size()); ++iNext) {
      strFile[iNext] = static_cast<char>(below(4) == 0 ? 0xff : below(256));
    }
  }
  return strFile;
}

}  // namespace

TEST_P(MutatedBackup, IsRestoredOrRefusedWithinBoundedTime) {
  using namespace std::chrono;
  std::mt19937 random(GetParam());
  const std::string strGood = OrvaTest::readFile(m_strBackup);
  unsigned cRestored = 0;
  for (unsigned i = 0; i < FILES_A_PART; ++i) {
    OrvaTest::writeFile(m_strBackup, mutated(strGood, random));
    std::timespec begin{};
    std::timespec end{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &begin);
    if (restoreNow().empty()) {
      ++cRestored;
      m_strStore = dump();
    }
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &end);
    ASSERT_LT(end.tv_sec - begin.tv_sec, 5) << "file " << i;
  }
  EXPECT_GT(cRestored, 0U);
  EXPECT_LT(cRestored, FILES_A_PART);
}

INSTANTIATE_TEST_SUITE_P(Part, MutatedBackup, testing::Range(0U, PARTS));
