/// While something runs, a restore is refused and the store is unchanged.

#include "common/state/restore.h"

#include <filesystem>
#include <gmock/gmock.h>

#include "common/coordination/execution_file.h"
#include "common/coordination/task_lock.h"
#include "common/events/change_event.h"
#include "common/state/initialize.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;

namespace {

class Restore : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    initialize("");
    addTask("kept");
    writeBackup(m_strBackup);
    addTask("later");
  }

  static void addTask(const char* szTask) {
    const Session session;
    Json::Value jTask(Json::objectValue);
    Json::Value jCreated;
    jTask["task_name"] = szTask;
    jTask["owner"] = 0;
    ASSERT_EQ(session.tasks()->recCreate(jTask, jCreated), 0);
  }

  static std::size_t taskCount() {
    Session session;
    return listTasks(session).size();
  }

  OrvaTest::TempDir m_folder;
  std::string m_strBackup = m_folder.path("kept.db");
};

}  // namespace

TEST_F(Restore, BringsBackEventsAndTheirTimers) {
  std::filesystem::create_directories(UNIT_FOLDER);
  addEvent("late", {"", {"daily"}, true});
  writeBackup(m_strBackup);
  removeEvent("late");
  addEvent("later", {"", {"daily"}, true});
  EXPECT_THAT(restore(m_strBackup, Owners::THE_SAME).vecWarnings, testing::IsEmpty());
  EXPECT_EQ(readOwnEvents(), (EventsByName{{"late", {"", {"daily"}, true}}}));
  EXPECT_TRUE(std::filesystem::exists(std::string(UNIT_FOLDER) + "/eorva-event@late.timer"));
  EXPECT_FALSE(std::filesystem::exists(std::string(UNIT_FOLDER) + "/eorva-event@later.timer"));
  removeEvent("late");
}

TEST_F(Restore, RemovesEventsThatTheBackupDoesNotHave) {
  writeBackup(m_strBackup);
  addEvent("later", {});
  restore(m_strBackup, Owners::THE_SAME);
  EXPECT_EQ(readOwnEvents(), EventsByName());
}

TEST_F(Restore, RefusesEventsThatEorvaWouldNotWrite) {
  OrvaTest::writeFile(OWN_EVENTS_PATH, R"({"x": {"at": ["daily\nUnit=y"], "description": "", "enabled": true}})");
  writeBackup(m_strBackup);
  EXPECT_THAT([&] { restore(m_strBackup, Owners::THE_SAME); },
              testing::ThrowsMessage<Failure>(testing::HasSubstr("own-events.json from")));
}

TEST_F(Restore, PutsTheBackupInPlaceAndClosesRunsThatAreOver) {
  {
    const Session session;
    Json::Value jRun(Json::objectValue);
    Json::Value jCreated;
    jRun["task_name"] = "kept";
    jRun["start_time"] = 1000;
    ASSERT_EQ(session.runs()->recCreate(jRun, jCreated), 0);
  }
  writeBackup(m_strBackup);
  addTask("latest");
  const Restored restored = restore(m_strBackup, Owners::THE_SAME);
  EXPECT_TRUE(restored.vecWarnings.empty());
  EXPECT_THAT(restored.vecFiles, testing::Contains(std::string(CONFIG_PATH)));
  EXPECT_EQ(taskCount(), 2U);
  Session session;
  EXPECT_TRUE(listRuns(session, "stop_time is null").empty());
}

TEST_F(Restore, IsRefusedWhileAnExecutionIsUnderWay) {
  {
    const ExecutionFile execution(Json::Int64{0}, Json::Int64{0});
    EXPECT_THROW(checkRestore(), Failure);
    EXPECT_THROW(restore(m_strBackup, Owners::THE_SAME), Failure);
  }
  checkRestore();
  EXPECT_EQ(taskCount(), 2U);
}

TEST_F(Restore, IsRefusedWhileATaskMayStillBeStarted) {
  TaskLock execution;
  execution.announce({"kept"});
  EXPECT_THROW(restore(m_strBackup, Owners::THE_SAME), Failure);
  EXPECT_EQ(taskCount(), 2U);
}
