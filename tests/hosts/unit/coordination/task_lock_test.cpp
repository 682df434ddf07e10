/// Locks for starting and changing tasks. They belong to open files, so two holders in one process act as two
/// processes.

#include "common/coordination/task_lock.h"

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/task_change_lock.h"
#include "fresh_host.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;
using testing::HasSubstr;

namespace {

/// With this limit, a lock is tried once.
constexpr std::chrono::milliseconds AT_ONCE{0};

constexpr std::chrono::seconds LONG{50};

class TaskLocks : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const Session session(Session::Store::CREATE);
  }

  /// Why a change of a task is refused; empty when it is not.
  static std::string whyNoChange(const std::string& strTask, std::chrono::milliseconds limit = AT_ONCE) {
    Session session;
    try {
      const TaskChange change(session, {strTask}, "deleted", TaskChange::Running::REFUSED, limit);
    } catch (const Failure& failure) {
      return failure.what();
    }
    return {};
  }
};

std::string whyNoStandstill() {
  try {
    const Standstill standstill("restored", AT_ONCE);
  } catch (const Failure& failure) {
    return failure.what();
  }
  return {};
}

}  // namespace

TEST_F(TaskLocks, AnAnnouncedTaskCannotBeChangedUntilItIsWithdrawn) {
  TaskLock execution;
  execution.announce({"a", "b"});
  EXPECT_THAT(whyNoChange("b"), HasSubstr("the task \"b\" cannot be deleted now: an execution may"));
  EXPECT_EQ(whyNoChange("c"), "");
  execution.withdraw("b");
  EXPECT_EQ(whyNoChange("b"), "");
  EXPECT_NE(whyNoChange("a"), "");
}

TEST_F(TaskLocks, AnyNumberOfExecutionsMayAnnounceATask) {
  TaskLock first;
  TaskLock second;
  first.announce({"a"});
  second.announce({"a"});
  first.withdraw("a");
  EXPECT_NE(whyNoChange("a"), "");
  second.withdraw("a");
  EXPECT_EQ(whyNoChange("a"), "");
}

TEST_F(TaskLocks, AnnouncingWaitsForTheChangeToEnd) {
  Session session;
  auto pChange = std::make_unique<TaskChange>(session, std::vector<std::string>{"b"}, "renamed");
  std::atomic<bool> blEnded = false;
  std::thread starter([&] {
    TaskLock execution;
    execution.announce({"a", "b"});
    EXPECT_TRUE(blEnded);
  });
  // The lock on "a" is released meanwhile: a change of "a" does not wait for "b".
  for (int i = 0; i < 5; ++i) {
    EXPECT_EQ(whyNoChange("a", TaskChange::LIMIT), "");
  }
  blEnded = true;
  pChange.reset();
  starter.join();
}

TEST_F(TaskLocks, StartsTakeTurns) {
  TaskLock first;
  TaskLock second;
  ASSERT_TRUE(first.takeTurn({"a", "b"}, AT_ONCE));
  EXPECT_FALSE(second.takeTurn({"c", "b"}, AT_ONCE));
  EXPECT_TRUE(first.takeTurn({"c"}, AT_ONCE)) << "all or none";
  std::atomic<bool> blEnded = false;
  std::thread starter([&] {
    EXPECT_TRUE(second.takeTurn({"b", "a"}, LONG));
    EXPECT_TRUE(blEnded);
  });
  blEnded = true;
  first.endTurns();
  starter.join();
}

TEST_F(TaskLocks, EndOfTheTurnsLeavesAnnouncedTasksLocked) {
  TaskLock execution;
  execution.announce({"a"});
  ASSERT_TRUE(execution.takeTurn({"a"}, AT_ONCE));
  execution.endTurns();
  EXPECT_NE(whyNoChange("a"), "");
  EXPECT_TRUE(TaskLock().takeTurn({"a"}, AT_ONCE));
}

TEST_F(TaskLocks, TheChildThatGetsTheDescriptorHoldsTheLocksAndTheirEndEndsThem) {
  int pipes[2];
  ASSERT_EQ(pipe(pipes), 0);
  pid_t pid = 0;
  {
    TaskLock execution;
    execution.announce({"a"});
    pid = fork();
    if (pid == 0) {
      char c = 0;
      close(pipes[1]);
      [[maybe_unused]] const ssize_t cb = read(pipes[0], &c, 1);
      _exit(0);
    }
  }
  EXPECT_NE(whyNoChange("a"), "");
  close(pipes[0]);
  close(pipes[1]);
  ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
  EXPECT_EQ(whyNoChange("a"), "");
}

TEST_F(TaskLocks, NamesThatAreNoFileNamesAreLockedToo) {
  for (const std::string& strName : {std::string("../../etc/passwd"), std::string("a/b"), std::string(5000, 'x'),
                                     std::string("NUL\0inside", 10), std::string(), std::string("ä ö")}) {
    TaskLock execution;
    execution.announce({strName});
    EXPECT_NE(whyNoChange(strName), "") << strName;
    EXPECT_EQ(whyNoChange(strName + "."), "") << strName;
  }
}

TEST_F(TaskLocks, OnlyRootSeesTheFileAndItStaysEmpty) {
  TaskLock execution;
  execution.announce({"a"});
  EXPECT_EQ(OrvaTest::fileMode("/run/eorva"), 0700U);
  EXPECT_EQ(OrvaTest::fileMode("/run/eorva/task-locks"), 0600U);
  EXPECT_EQ(OrvaTest::readFile("/run/eorva/task-locks"), "");
}

TEST_F(TaskLocks, ALinkInTheirPlaceIsNotFollowed) {
  std::filesystem::create_directories("/run/eorva");
  std::filesystem::create_symlink("/tmp/elsewhere", "/run/eorva/task-locks");
  EXPECT_THROW(TaskLock(), Failure);
  EXPECT_FALSE(OrvaTest::fileExists("/tmp/elsewhere"));
}

TEST_F(TaskLocks, NothingStandsStillWhileATaskIsAnnouncedBeingStartedOrChanged) {
  Session session;
  {
    TaskLock execution;
    execution.announce({"a"});
    EXPECT_EQ(whyNoStandstill(),
              "nothing can be restored now: an execution may still start a task, or another command is "
              "changing one; try again later");
    execution.withdraw("a");
    EXPECT_EQ(whyNoStandstill(), "");
    ASSERT_TRUE(execution.takeTurn({"b"}, AT_ONCE));
    EXPECT_NE(whyNoStandstill(), "");
  }
  {
    const TaskChange change(session, {"c"}, "changed");
    EXPECT_NE(whyNoStandstill(), "");
  }
  const Standstill standstill("restored");
  EXPECT_NE(whyNoStandstill(), "");
}

TEST_F(TaskLocks, WhileAllStandsStillNoTaskIsChangedOrStartedWhateverItsName) {
  auto pStandstill = std::make_unique<Standstill>("restored");
  EXPECT_NE(whyNoChange("a"), "");
  EXPECT_FALSE(TaskLock().takeTurn({"a"}, AT_ONCE));
  std::atomic<bool> blEnded = false;
  std::thread starter([&] {
    TaskLock execution;
    execution.announce({"a", "added meanwhile"});
    EXPECT_TRUE(blEnded);
  });
  blEnded = true;
  pStandstill.reset();
  starter.join();
  EXPECT_EQ(whyNoChange("a"), "");
}
