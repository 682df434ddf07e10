/// One execution at a time starts a task, and each start has a second of its own.

#include "common/executions/turns.h"

#include <ctime>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <optional>
#include <sched.h>
#include <sys/wait.h>
#include <unistd.h>

#include "clock.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "pauses.h"
#include "with_store.h"

using namespace Host;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

constexpr std::chrono::seconds AT_ONCE(0);

class TakingTurns : public HostTest::WithStore<testing::Test> {
protected:
  void SetUp() override {
    WithStore::SetUp();
    HostTest::addTask(*m_session, "b");
    m_turns.emplace();
  }
  void TearDown() override { HostTest::insteadOfPausing(nullptr); }

  void start(const std::vector<std::string>& vecTasks) { m_turns->takeToStart(*m_session, vecTasks); }

  static bool isFree(const std::string& strTask) { return TaskLock().takeTurn({strTask}, AT_ONCE); }

  std::optional<Turns> m_turns;
};

}  // namespace

TEST_F(TakingTurns, AreHeldUntilTheNextOnesOrTheEnd) {
  start({"a", "b"});
  EXPECT_FALSE(isFree("a"));
  EXPECT_FALSE(isFree("b"));
  EXPECT_TRUE(isFree("c"));
  start({"b"});
  EXPECT_TRUE(isFree("a"));
  EXPECT_FALSE(isFree("b"));
  m_turns->takeToClose("a");
  EXPECT_FALSE(isFree("a"));
  EXPECT_TRUE(isFree("b"));
  m_turns->end();
  EXPECT_TRUE(isFree("a"));
}

TEST_F(TakingTurns, AreWaitedFor) {
  TaskLock other;
  ASSERT_TRUE(other.takeTurn({"a"}, AT_ONCE));
  HostTest::insteadOfPausing([&] {
    other.endTurns();
    return true;
  });
  start({"b", "a"});
  EXPECT_FALSE(isFree("a"));
}

TEST_F(TakingTurns, ToStartAreNotWaitedForForEver) {
  TaskLock other;
  ASSERT_TRUE(other.takeTurn({"a"}, AT_ONCE));
  HostTest::insteadOfPausing([] {
    HostTest::setClockForward(std::chrono::minutes(11));
    return true;
  });
  EXPECT_THAT([&] { start({"b", "a"}); },
              ThrowsMessage<Failure>(HasSubstr("has been starting or closing b, a for more than ten minutes")));
  EXPECT_TRUE(isFree("b"));
}

TEST_F(TakingTurns, ToCloseAreGivenUpSoThatTheRunIsClosed) {
  TaskLock other;
  start({"b"});
  ASSERT_TRUE(other.takeTurn({"a"}, AT_ONCE));
  int cPauses = 0;
  HostTest::insteadOfPausing([&] {
    ++cPauses;
    HostTest::setClockForward(std::chrono::seconds(6));
    return true;
  });
  m_turns->takeToClose("a");
  EXPECT_EQ(cPauses, 2);
  EXPECT_TRUE(isFree("b"));
  other.endTurns();
  EXPECT_TRUE(isFree("a"));
}

TEST_F(TakingTurns, SecondInWhichTheTaskWasStartedIsWaitedForWithTheTurnHeld) {
  const std::time_t now = std::time(nullptr);
  // As after setting the clock back: the task was started in each of the next seconds, too.
  for (std::time_t second = now; second < now + 60; ++second) {
    HostTest::addRun(*m_session, "a", 1,
                     objectOf({{"start_time", static_cast<Json::Int64>(second)}, {"stop_time", 1}}));
  }
  int cWaits = 0;
  HostTest::insteadOfPausing([&] {
    ++cWaits;
    EXPECT_FALSE(isFree("a"));
    return m_session->runs()->recUpdateByFilter(objectOf({{"task_name", "a"}}), objectOf({{"start_time", 1}})) > 0;
  });
  start({"b"});
  EXPECT_EQ(cWaits, 0) << "another task";
  start({"b", "a"});
  EXPECT_EQ(cWaits, 1);
}

TEST_F(TakingTurns, AreNeverHeldByTwoProcesses) {
  constexpr int PROCESSES = 4;
  constexpr int TURNS = 100;
  m_session.reset();
  for (int i = 0; i < PROCESSES; ++i) {
    if (fork() == 0) {
      HostTest::insteadOfPausing([] { return sched_yield() == 0; });
      Session session;
      Turns turns;
      for (int iTurn = 0; iTurn < TURNS; ++iTurn) {
        turns.takeToStart(session, {"a", "b"});
        const int fd = open("/tmp/turn", O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
        sched_yield();
        if (fd < 0 || close(fd) < 0 || unlink("/tmp/turn") < 0) {
          _exit(1);
        }
        turns.takeToClose("a");
      }
      _exit(0);
    }
  }
  for (int i = 0; i < PROCESSES; ++i) {
    int iStatus = -1;
    ASSERT_GT(wait(&iStatus), 0);
    EXPECT_EQ(iStatus, 0);
  }
}
