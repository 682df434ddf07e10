/// Related tasks, and graphs with endless walks.

#include "common/tasks/related_tasks.h"

#include <gmock/gmock.h>
#include <set>

#include "common/store/session.h"
#include "common/support/failure.h"
#include "fresh_host.h"

using namespace Host;
using testing::ElementsAre;

namespace {

class RelatedTasks : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const Session session(Session::Store::CREATE);
    add("a", "");
    add("b", "[a]");
    add("c", "[b]");
    add("d", "");
  }

  static void add(const char* szTask, const char* szDepend) {
    const Session session;
    Json::Value jTask(Json::objectValue);
    Json::Value jCreated;
    jTask["task_name"] = szTask;
    jTask["event"] = "nightly";
    jTask["owner"] = 0;
    jTask["depend_on_task"] = szDepend;
    ASSERT_EQ(session.tasks()->recCreate(jTask, jCreated), 0);
  }

  static std::set<std::string> names(const char* szTask, Relation relation) {
    std::set<std::string> setNames;
    for (const Json::Value& jTask : relatedTasks(szTask, relation)) {
      setNames.insert(jTask["task_name"].asString());
    }
    return setNames;
  }
};

}  // namespace

TEST_F(RelatedTasks, NearAndFarInEachDirection) {
  EXPECT_THAT(names("c", Relation::WAITS_FOR), ElementsAre("a", "b"));
  EXPECT_THAT(names("a", Relation::DEPENDANTS), ElementsAre("b", "c"));
  EXPECT_THAT(names("b", Relation::CANDIDATES), ElementsAre("d"));
}

TEST_F(RelatedTasks, ACircleOrAMissingTaskIsToldAndNotWalked) {
  EXPECT_THROW(names("x", Relation::WAITS_FOR), Failure);
  add("e", "[f]");
  add("f", "[e]");
  try {
    names("e", Relation::DEPENDANTS);
    FAIL() << "walked through a circle";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), testing::HasSubstr("e -> f -> e"));
  }
}
