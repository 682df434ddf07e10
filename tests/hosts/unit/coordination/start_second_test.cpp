/// Each start of a task gets its own second; starts of other tasks are not delayed.

#include "common/coordination/start_second.h"

#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <optional>
#include <string>
#include <sys/file.h>

#include "common/coordination/runtime_folder.h"
#include "common/store/session.h"
#include "common/support/paths.h"
#include "common/support/unique_fd.h"
#include "fresh_host.h"
#include "pauses.h"
#include "support/files.h"

using namespace Host;
using testing::HasSubstr;

namespace {

class StartSecond : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_session.emplace(Session::Store::CREATE);
    makeRuntimeFolder();
    addTask("a");
    addTask("b");
  }
  void TearDown() override { HostTest::insteadOfPausing(nullptr); }

  void addTask(const char* szTask) {
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = szTask;
    jTask["event"] = "bootup";
    jTask["owner"] = 0;
    jTask["operation"] = "true";
    jTask["operation_type"] = "script";
    Json::Value jOut;
    ASSERT_EQ(m_session->tasks()->recCreate(jTask, jOut), 0);
  }

  /// As after setting the clock back: the task was started in each of the next seconds.
  void useUpSeconds(const char* szTask) {
    const std::time_t now = std::time(nullptr);
    WriteLock lock(*m_session);
    for (std::time_t second = now; second < now + 120; ++second) {
      Json::Value jRun(Json::objectValue);
      jRun["task_name"] = szTask;
      jRun["start_time"] = static_cast<Json::Int64>(second);
      jRun["stop_time"] = static_cast<Json::Int64>(second);
      Json::Value jOut;
      ASSERT_EQ(m_session->runs()->recCreate(jRun, jOut), 0);
    }
    lock.commit();
  }

  void freeSeconds(const char* szTask) {
    Json::Value jFilter(Json::objectValue);
    jFilter["task_name"] = szTask;
    Json::Value jUpdate(Json::objectValue);
    jUpdate["start_time"] = 1;
    ASSERT_GT(m_session->runs()->recUpdateByFilter(jFilter, jUpdate), 0);
  }

  static bool isLocked() {
    const UniqueFd fd(open(START_SECOND_PATH, O_RDWR | O_CLOEXEC));
    return flock(fd.get(), LOCK_EX | LOCK_NB) < 0;
  }

  std::optional<Session> m_session;
};

}  // namespace

TEST_F(StartSecond, OthersStartWhileOneIsWaitedFor) {
  useUpSeconds("a");
  int cWaits = 0;
  HostTest::insteadOfPausing([&] {
    ++cWaits;
    if (isLocked()) {
      ADD_FAILURE() << "others have to wait, too";
      return false;
    }
    Session session;
    claimStartSecond(session, {"b"});
    EXPECT_THAT(OrvaTest::readFile(START_SECOND_PATH), HasSubstr("\nb\n"));
    freeSeconds("a");
    return true;
  });
  claimStartSecond(*m_session, {"a"});
  EXPECT_EQ(cWaits, 1);
  EXPECT_THAT(OrvaTest::readFile(START_SECOND_PATH), HasSubstr("\na\n"));
}

TEST_F(StartSecond, ClockThatStandsStillIsNotWaitedForLong) {
  useUpSeconds("a");
  int cWaits = 0;
  HostTest::insteadOfPausing([&] { return ++cWaits > 0; });
  claimStartSecond(*m_session, {"a"});
  EXPECT_EQ(cWaits, 30);
}
