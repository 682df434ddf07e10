/// A change of a task is stored completely or not at all.

#include "common/tasks/change_task.h"

#include <gmock/gmock.h>
#include <unistd.h>

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/tasks/task_request.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "pauses.h"
#include "remedy.h"
#include "stored.h"

using namespace Host;
using testing::HasSubstr;
using testing::ThrowsMessage;
using testing::UnorderedElementsAre;

namespace {

class ChangeTask : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const Session session(Session::Store::CREATE);
    HostTest::addTask(session, "a", "exit 0\n");
  }

  void TearDown() override { HostTest::insteadOfPausing(nullptr); }

  /// This process stands for that of a run.
  static void letItRun() {
    const Session session;
    HostTest::addRun(session, "a", getpid());
  }

  static Json::Value stored() {
    Session session;
    return requireTask(session, "a");
  }

  static TaskChanged change(const Json::Value& jChanges) { return changeTask("a", jChanges, AllowedEvents::KNOWN); }
};

}  // namespace

TEST_F(ChangeTask, StoresTheMembersThatDiffer) {
  const TaskChanged changed = change(objectOf({{"time_limit", 60}, {"enable", true}, {"operation", ""}}));
  EXPECT_THAT(changed.vecMembers, UnorderedElementsAre("operation", "time_limit"));
  ASSERT_EQ(changed.vecWarnings.size(), 1U);
  EXPECT_EQ(changed.vecWarnings[0].strReason, "the script is empty");
  EXPECT_EQ(stored()["time_limit"], 60);
  EXPECT_EQ(stored()["operation"], "");
  EXPECT_EQ(stored()["event"], "bootup");
}

TEST_F(ChangeTask, ErrorLeavesTheTaskUnchanged) {
  const Json::Value jBefore = stored();
  EXPECT_THAT([] { change(objectOf({{"event", "mine"}, {"time_limit", -1}, {"enable", false}})); },
              ThrowsMessage<Failure>(testing::AllOf(HasSubstr("the task \"a\" is not changed:"), HasSubstr("event: "),
                                                    HasSubstr("time limit: "))));
  EXPECT_EQ(stored(), jBefore);
  EXPECT_EQ(HostTest::remedyFor([] { change(objectOf({{"event", "mine"}})); }), Hint::ALLOW_ANY_EVENT);
  EXPECT_EQ(changeTask("a", objectOf({{"event", "mine"}}), AllowedEvents::ANY).vecMembers.size(), 1U);
}

TEST_F(ChangeTask, EditOfAScriptThatSomebodyElseChangedIsRefused) {
  const Json::Value jChanges = objectOf({{"operation", "exit 1\n"}});
  EXPECT_THAT([&] { changeTask("a", jChanges, AllowedEvents::ANY, "exit 2\n"); },
              ThrowsMessage<Failure>(HasSubstr("somebody else changed the script")));
  EXPECT_EQ(stored()["operation"], "exit 0\n");
  changeTask("a", jChanges, AllowedEvents::ANY, "exit 0\n");
  EXPECT_EQ(stored()["operation"], "exit 1\n");
}

TEST_F(ChangeTask, NameIsChangedByRenamingOnly) {
  try {
    change(objectOf({{"task_name", "b"}}));
    FAIL() << "it has another name";
  } catch (const Failure& failure) {
    EXPECT_EQ(failure.hint().kind, Hint::RENAME_TASK);
    EXPECT_EQ(failure.hint().vecNames, std::vector<std::string>{"a"});
  }
  EXPECT_THROW(changeTask("b", Json::objectValue, AllowedEvents::ANY), Failure);
}

TEST_F(ChangeTask, OwnerStaysDuringARun) {
  letItRun();
  EXPECT_THAT([] { change(objectOf({{"owner", ownerFrom("daemon")}})); },
              ThrowsMessage<Failure>(HasSubstr("cannot be given another owner")));
  EXPECT_EQ(stored()["owner"], 0);
  change(objectOf({{"owner", ownerFrom("root")}, {"time_limit", 60}}));
  EXPECT_EQ(stored()["time_limit"], 60);
}

TEST_F(ChangeTask, ChangeThatTheEndOfARunOverwritesIsRepeated) {
  letItRun();
  unsigned cPauses = 0;
  HostTest::insteadOfPausing([&] {
    if (cPauses++ == 0) {
      const Session session;
      EXPECT_EQ(session.tasks()->recUpdateByFilter(objectOf({{"task_name", "a"}}), objectOf({{"time_limit", 0}})), 1);
    }
    return true;
  });
  change(objectOf({{"time_limit", 60}}));
  EXPECT_EQ(cPauses, 2U);
  EXPECT_EQ(stored()["time_limit"], 60);
}
