/// A document is compared and checked completely before anything is changed.

#include "common/state/apply.h"

#include <gmock/gmock.h>

#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "remedy.h"
#include "stored.h"
#include "support/files.h"

using namespace Host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::ThrowsMessage;

namespace {

constexpr char ONE_TASK[] = "version: 1\ntasks:\n  a: {event: nightly, owner: root, script: exit 0}\n...\n";

class Apply : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    OrvaTest::writeFile(CONFIG_PATH, "{}");
    const Session session(Session::Store::CREATE);
  }

  static ApplyPlan plan(const std::string& strText, bool blPrune = false, AllowedEvents events = AllowedEvents::ANY) {
    return planApply({strText, "it.yaml", blPrune, events});
  }

  static std::string whyNot(const std::string& strText, bool blPrune = false) {
    try {
      plan(strText, blPrune, AllowedEvents::CATALOGUE);
    } catch (const Failure& failure) {
      return failure.what();
    }
    return {};
  }
};

}  // namespace

TEST_F(Apply, TellsTheChanges) {
  const ApplyPlan first = plan(ONE_TASK);
  EXPECT_THAT(first.difference.vecCreated, ElementsAre("a"));
  EXPECT_THAT(apply(first), IsEmpty());
  EXPECT_TRUE(plan(ONE_TASK).difference.isEmpty());
  EXPECT_TRUE(plan("version: 1\ntasks: {}\n...\n").difference.isEmpty());
  EXPECT_THAT(plan("version: 1\ntasks: {}\n...\n", true).difference.vecDeleted, ElementsAre("a"));
}

TEST_F(Apply, TellsEverythingThatIsWrongAtOnce) {
  const std::string strWhy = whyNot(
      "version: 2\nconfiguration: {stop_grace: never}\n"
      "tasks:\n  a: {event: no-event, owner: root, script: exit 0}\n...\n");
  EXPECT_THAT(strWhy, HasSubstr("it.yaml is not applied:\n  version: must be 1"));
  EXPECT_THAT(strWhy, HasSubstr("stop_grace must be a number"));
  EXPECT_THAT(strWhy, HasSubstr("task \"a\": event: "));
  EXPECT_THAT(whyNot("{"), HasSubstr("it.yaml is not applied:\n  "));
}

TEST_F(Apply, AnUnknownEventHasARemedy) {
  const std::string strUnknown = "version: 1\ntasks:\n  a: {event: mine, owner: root, script: exit 0}\n...\n";
  EXPECT_EQ(HostTest::remedyFor([&] { plan(strUnknown, false, AllowedEvents::CATALOGUE); }), Hint::ALLOW_ANY_EVENT);
  EXPECT_EQ(HostTest::remedyFor([] { plan("version: 2\n...\n", false, AllowedEvents::CATALOGUE); }), Hint::NONE);
}

TEST_F(Apply, ADocumentWithoutTasksDeletesNone) {
  EXPECT_THAT(whyNot("version: 1\n...\n", true), HasSubstr("tasks: "));
  EXPECT_EQ(whyNot("version: 1\n...\n"), "");
}

namespace {

/// Adds a task, as another command would.
void addOther(const std::string& strTask, const std::string& strNeeds = "") {
  const Session session;
  HostTest::addTask(session, strTask, "exit 0", objectOf({{"event", "nightly"}, {"depend_on_task", strNeeds}}));
}

}  // namespace

TEST_F(Apply, ComparesOnlyWhatTheDocumentTouches) {
  apply(plan(ONE_TASK));
  const ApplyPlan change = plan("version: 1\ntasks:\n  a: {event: nightly, owner: root, script: exit 1}\n...\n");
  addOther("b");
  EXPECT_THAT(apply(change), IsEmpty());
  Session session;
  EXPECT_EQ(textOf(requireTask(session, "a"), "operation"), "exit 1");
  EXPECT_TRUE(findTask(session, "b").isObject());
}

TEST_F(Apply, IsRefusedWhenSomebodyElseChangedWhatItTouches) {
  const ApplyPlan create = plan(ONE_TASK);
  addOther("a");
  EXPECT_THAT([&] { apply(create); }, ThrowsMessage<Failure>(HasSubstr("changed the task \"a\" meanwhile")));
  const ApplyPlan prune = plan("version: 1\ntasks: {}\n...\n", true);
  addOther("new");
  EXPECT_THAT([&] { apply(prune); }, ThrowsMessage<Failure>(HasSubstr("added the task \"new\" meanwhile")));
  Session session;
  EXPECT_EQ(taskNames(session).size(), 2U);
}

TEST_F(Apply, ChecksTheDocumentAgainBesideWhatOthersChanged) {
  apply(plan(ONE_TASK));
  const ApplyPlan wait = plan(
      "version: 1\ntasks:\n  a: {event: nightly, owner: root, script: exit 1, waits_for: [c]}\n"
      "  c: {event: nightly, owner: root, script: exit 1}\n...\n");
  addOther("C");
  EXPECT_THAT([&] { apply(wait); }, ThrowsMessage<Failure>(HasSubstr("is the same as \"C\"")));
  Session session;
  EXPECT_EQ(textOf(requireTask(session, "a"), "operation"), "exit 0");
}
