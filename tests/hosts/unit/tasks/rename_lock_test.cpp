/// Renaming or deleting a task rewrites the lists of its dependants, but not while an execution that has read them may
/// start one.

#include "common/tasks/rename_lock.h"

#include <gmock/gmock.h>
#include <memory>

#include "eorvascheduler.h"

#include "common/coordination/execution_file.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "fresh_host.h"

using namespace Host;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// Who tries no longer than this finds out what is held now.
constexpr std::chrono::milliseconds AT_ONCE{0};

class SubtreeLocks : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_pSession = std::make_unique<Session>(Session::Store::CREATE);
    addTask("a", "");
    addTask("b", "[a]");
    addTask("c", "[b][a]");
  }

  void addTask(const std::string& strTask, const std::string& strDepend) {
    Json::Value jTask(Json::objectValue);
    Json::Value jCreated;
    jTask["task_name"] = strTask;
    jTask["event"] = "bootup";
    jTask["owner"] = 0;
    jTask["depend_on_task"] = strDepend;
    ASSERT_EQ(m_pSession->tasks()->recCreate(jTask, jCreated), 0);
  }

  /// Writes a record back as an execution does that has read it earlier.
  void writeBack(Json::Value jTask) {
    Json::Value jFilter(Json::objectValue);
    jFilter["task_name"] = jTask["task_name"];
    ASSERT_EQ(m_pSession->tasks()->recUpdateByFilter(jFilter, jTask), 1);
  }

  void rename(const char* szTask, const char* szNew) {
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = szNew;
    jIn["old_task_name"] = szTask;
    ASSERT_EQ(recUpdate(m_pSession->tasks(), jIn, m_pSession->db()), 0);
  }

  void remove(const char* szTask) {
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = szTask;
    ASSERT_EQ(recDelete(m_pSession->tasks(), jIn, m_pSession->db()), 0);
  }

  std::string waitsFor(const std::string& strTask) { return textOf(findTask(*m_pSession, strTask), "depend_on_task"); }

  /// Why the right is refused; empty when it is not.
  std::string whyNot(const std::vector<std::string>& vecNames) {
    try {
      const RenameLock lock(*m_pSession, vecNames, "renamed", AT_ONCE);
    } catch (const Failure& failure) {
      return failure.what();
    }
    return {};
  }

  std::unique_ptr<Session> m_pSession;
};

}  // namespace

TEST_F(SubtreeLocks, ADependantThatMayStillBeStartedKeepsTheTaskAsItIs) {
  TaskLock execution;
  execution.announce({"b"});
  EXPECT_THAT(whyNot({"a", "d"}),
              HasSubstr("the task \"a\" cannot be renamed now: \"b\" waits for it, and an execution may"));
  EXPECT_EQ(whyNot({"c", "d"}), "") << "nobody waits for it";
  execution.withdraw("b");
  EXPECT_EQ(whyNot({"a", "d"}), "");
}

TEST_F(SubtreeLocks, TheTaskItselfIsNamedFirst) {
  TaskLock execution;
  execution.announce({"a", "b"});
  EXPECT_THAT(whyNot({"a"}), HasSubstr("the task \"a\" cannot be renamed now: an execution may still start it"));
}

TEST_F(SubtreeLocks, HoldsTheTaskItsNewNameAndAllThatWaitForIt) {
  const RenameLock lock(*m_pSession, {"a", "d"}, "renamed");
  EXPECT_THAT(lock.dependants(), ElementsAre("b", "c"));
  for (const char* const szTask : {"a", "b", "c", "d"}) {
    EXPECT_THROW(TaskChange(*m_pSession, {szTask}, "changed", TaskChange::Running::ALLOWED, AT_ONCE), Failure)
        << szTask;
  }
}

TEST_F(SubtreeLocks, AListThatARunWroteBackGetsTheNewNameAgain) {
  const ExecutionFile execution(Json::Int64{0}, Json::Int64{0});
  const RenameLock lock(*m_pSession, {"a", "d"}, "renamed");
  const Json::Value jBefore = findTask(*m_pSession, "c");
  rename("a", "d");
  writeBack(jBefore);
  ASSERT_EQ(waitsFor("c"), "[b][a]");
  lock.makeSure();
  EXPECT_EQ(waitsFor("c"), "[b][d]");
  EXPECT_EQ(waitsFor("b"), "[d]");
}

TEST_F(SubtreeLocks, AListThatARunWroteBackLosesADeletedTaskAgain) {
  const ExecutionFile execution(Json::Int64{0}, Json::Int64{0});
  const RenameLock lock(*m_pSession, {"a"}, "deleted");
  const Json::Value jBefore = findTask(*m_pSession, "c");
  remove("a");
  writeBack(jBefore);
  lock.makeSure();
  EXPECT_EQ(waitsFor("c"), "[b]");
  EXPECT_EQ(waitsFor("b"), "");
}
