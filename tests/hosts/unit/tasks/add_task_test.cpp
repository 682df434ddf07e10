/// New tasks are stored completely, with defaults, or not at all.

#include "common/tasks/add_task.h"

#include <gmock/gmock.h>

#include "common/events/own_events.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/tasks/task_request.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;
using testing::HasSubstr;

namespace {

class NewTask : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const Session session(Session::Store::CREATE);
  }

  static Json::Value request(const std::string& strTask) {
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = strTask;
    jTask["event"] = "nightly";
    jTask["owner"] = ownerFrom("root");
    jTask["operation"] = "exit 0\n";
    return jTask;
  }

  static Json::Value stored(const std::string& strTask) {
    Session session;
    return findTask(session, strTask);
  }

  template <typename What>
  static std::string whyNot(const What& what) {
    try {
      what();
    } catch (const Failure& failure) {
      return failure.what();
    }
    return {};
  }
};

}  // namespace

TEST_F(NewTask, GetsDefaultsAndIsStored) {
  const TaskAdded added = addTask(request("a"), AllowedEvents::ANY);
  EXPECT_EQ(added.jTask["owner"], 0);
  EXPECT_TRUE(added.vecWarnings.empty());
  const Json::Value jTask = stored("a");
  EXPECT_EQ(jTask["owner"], 0);
  EXPECT_TRUE(boolOf(jTask, "enable"));
  EXPECT_EQ(textOf(jTask, "operation_type"), "script");
  EXPECT_EQ(jTask["depend_on_task"], "");
}

TEST_F(NewTask, ThatIsRefusedIsToldWithAllErrorsAndWarnings) {
  Json::Value jTask = request("a");
  jTask["operation"] = "";
  jTask["time_limit"] = -1;
  const std::string strWhy = whyNot([&] { addTask(jTask, AllowedEvents::KNOWN); });
  EXPECT_THAT(strWhy, HasSubstr("the task \"a\" is not added:\n"));
  EXPECT_THAT(strWhy, HasSubstr("\n  event: "));
  EXPECT_THAT(strWhy, HasSubstr("\n  time limit: "));
  EXPECT_THAT(strWhy, HasSubstr("\n  warning: script: the script is empty"));
  EXPECT_TRUE(stored("a").isNull());
}

TEST_F(NewTask, NeedsAKnownEvent) {
  const auto refused = [&](const std::string& strTask) {
    return whyNot([&] { addTask(request(strTask), AllowedEvents::KNOWN); });
  };
  EXPECT_THAT(refused("a"), HasSubstr("event: unknown event \"nightly\""));
  addTask(request("a"), AllowedEvents::ANY);
  EXPECT_EQ(refused("b"), "") << "a task has it";
  Json::Value jTask = request("c");
  jTask["event"] = "mine";
  OrvaTest::writeFile(OWN_EVENTS_PATH, ownEventsText({{"mine", {}}}));
  EXPECT_EQ(whyNot([&] { addTask(jTask, AllowedEvents::KNOWN); }), "") << "it was added";
}

TEST_F(NewTask, IsStoredWithAWarningForAScriptThatHardlyRuns) {
  Json::Value jTask = request("a");
  jTask["operation"] = "";
  const TaskAdded added = addTask(jTask, AllowedEvents::ANY);
  ASSERT_EQ(added.vecWarnings.size(), 1U);
  EXPECT_EQ(added.vecWarnings[0].strReason, "the script is empty");
  EXPECT_TRUE(stored("a").isObject());
}

TEST_F(NewTask, CopyDiffersInTheGivenMembers) {
  addTask(request("a"), AllowedEvents::ANY);
  Json::Value jChanges(Json::objectValue);
  jChanges["time_limit"] = 60;
  copyTask("a", "b", jChanges, AllowedEvents::ANY);
  EXPECT_EQ(stored("b")["time_limit"], 60);
  EXPECT_EQ(stored("b")["operation"], "exit 0\n");
  EXPECT_EQ(stored("a")["time_limit"], 0);
  EXPECT_THAT(whyNot([&] { copyTask("a", "b", jChanges, AllowedEvents::ANY); }), HasSubstr("name: "));
  EXPECT_THAT(whyNot([&] { copyTask("x", "c", jChanges, AllowedEvents::ANY); }), HasSubstr("\"x\""));
}
