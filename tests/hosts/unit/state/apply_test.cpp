/// A document is compared and checked completely before anything is changed.

#include "common/state/apply.h"

#include <filesystem>
#include <gmock/gmock.h>

#include "common/events/change_event.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "fake_systemctl.h"
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

constexpr char TIMER[] = "/etc/systemd/system/eorva-event@late.timer";

class Apply : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::create_directories(UNIT_FOLDER);
    OrvaTest::writeFile(CONFIG_PATH, "{}");
    const Session session(Session::Store::CREATE);
  }

  void TearDown() override { std::filesystem::remove(TIMER); }

  static ApplyPlan plan(const std::string& strText, bool blPrune = false, AllowedEvents events = AllowedEvents::ANY) {
    return planApply({strText, "it.yaml", blPrune, events});
  }

  static std::string whyNot(const std::string& strText, bool blPrune = false) {
    try {
      plan(strText, blPrune, AllowedEvents::KNOWN);
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
  EXPECT_THAT(apply(first).vecNotes, IsEmpty());
  EXPECT_TRUE(plan(ONE_TASK).difference.isEmpty());
  EXPECT_TRUE(plan("version: 1\ntasks: {}\n...\n").difference.isEmpty());
  EXPECT_THAT(plan("version: 1\ntasks: {}\n...\n", true).difference.vecDeleted, ElementsAre("a"));
}

TEST_F(Apply, TellsEverythingThatIsWrongAtOnce) {
  const std::string strWhy = whyNot(
      "version: 2\nconfiguration: {stop_grace: never}\n"
      "tasks:\n  a: {event: no-event, owner: root, script: exit 0}\n...\n");
  EXPECT_THAT(strWhy, HasSubstr("it.yaml is not applied:\n  version: must be 1"));
  EXPECT_THAT(strWhy, HasSubstr("stop_grace must be a duration"));
  EXPECT_THAT(strWhy, HasSubstr("task \"a\": event: "));
  EXPECT_THAT(whyNot("{"), HasSubstr("it.yaml is not applied:\n  "));
}

TEST_F(Apply, AnUnknownEventHasARemedy) {
  const std::string strUnknown = "version: 1\ntasks:\n  a: {event: mine, owner: root, script: exit 0}\n...\n";
  EXPECT_EQ(HostTest::remedyFor([&] { plan(strUnknown, false, AllowedEvents::KNOWN); }), Hint::ALLOW_ANY_EVENT);
  EXPECT_EQ(HostTest::remedyFor([] { plan("version: 2\n...\n", false, AllowedEvents::KNOWN); }), Hint::NONE);
}

TEST_F(Apply, AnEventIsKnownFromTheDocumentOrATask) {
  const std::string strTask = "  a: {event: mine, owner: root, script: exit 0}\n";
  EXPECT_EQ(whyNot("version: 1\nevents: {mine: {}}\ntasks:\n" + strTask + "...\n"), "");
  apply(plan("version: 1\ntasks:\n" + strTask + "...\n"));
  EXPECT_EQ(whyNot("version: 1\ntasks:\n  b: {event: mine, owner: root, script: exit 0}\n...\n"), "");
  EXPECT_TRUE(readOwnEvents().empty()) << "only a document that names an event adds it";
  EXPECT_TRUE(plan(stateText(currentState())).difference.isEmpty());
}

TEST_F(Apply, AddsChangesAndRemovesEvents) {
  const ApplyPlan add = plan("version: 1\nevents:\n  late: {at: daily, description: Late}\n  inbox:\n...\n");
  EXPECT_THAT(add.difference.vecEvents, ElementsAre("inbox", "late"));
  EXPECT_THAT(apply(add).vecFailed, IsEmpty());
  EXPECT_EQ(readOwnEvents(), (EventsByName{{"inbox", {}}, {"late", {"Late", {"daily"}, true}}}));
  EXPECT_TRUE(std::filesystem::exists(TIMER));
  apply(plan("version: 1\nevents: {late: {at: [weekly], enabled: false}}\n...\n"));
  EXPECT_EQ(readOwnEvents().at("late"), (EventSettings{"", {"weekly"}, false}));
  EXPECT_TRUE(plan("version: 1\ntasks: {}\n...\n", true).difference.isEmpty()) << "a document without events";
  apply(plan("version: 1\nevents: {inbox: {}}\ntasks: {}\n...\n", true));
  EXPECT_EQ(readOwnEvents(), (EventsByName{{"inbox", {}}}));
  EXPECT_FALSE(std::filesystem::exists(TIMER));
}

TEST_F(Apply, PrunesNoEventOfATask) {
  apply(plan("version: 1\nevents: {late: {description: Late}}\n...\n"));
  apply(plan("version: 1\nevents: {}\ntasks:\n  a: {event: late, owner: root, script: exit 0}\n...\n", true));
  EXPECT_EQ(readOwnEvents().at("late").strDescription, "Late");
}

TEST_F(Apply, EventsThatAreWrongAreTold) {
  const std::string strWhy = whyNot(
      "version: 1\nevents:\n  a: {at: often}\n  b: {att: daily}\n  c: [daily]\n  daily: {at: weekly, description: x}\n"
      "  d: {enabled: 1}\n  e: {at: 5}\n  f: {description: [x]}\n...\n");
  EXPECT_THAT(strWhy, HasSubstr("event \"a\": at: Failed to parse calendar specification 'often'"));
  EXPECT_THAT(strWhy, HasSubstr("event \"b\": unknown member \"att\"; the members are description, at, enabled"));
  EXPECT_THAT(strWhy, HasSubstr("event \"c\": must have members"));
  EXPECT_THAT(strWhy, HasSubstr("event \"daily\": description: an installed event has one already"));
  EXPECT_THAT(strWhy, HasSubstr("event \"daily\": at: an installed event has its own times"));
  EXPECT_THAT(strWhy, HasSubstr("event \"d\": enabled must be true or false"));
  EXPECT_THAT(strWhy, HasSubstr("event \"e\": at must be a list of texts"));
  EXPECT_THAT(strWhy, HasSubstr("event \"f\": description must be a text"));
  EXPECT_THAT(whyNot("version: 1\nevents: [daily]\n...\n"), HasSubstr("events: must be a list of names and events"));
  EXPECT_TRUE(readOwnEvents().empty());
}

TEST_F(Apply, AnEventWhoseUnitIsNotInstalledCanOnlyBeDisabled) {
  const HostTest::FakeSystemctl systemctl("exit 0\n");
  EXPECT_EQ(whyNot("version: 1\nevents: {daily: {enabled: false}}\n...\n"), "");
  EXPECT_THAT(whyNot("version: 1\nevents: {daily: {enabled: true}}\n...\n"),
              HasSubstr("event \"daily\": enabled: the unit that fires it is not installed"));
}

TEST_F(Apply, UnitsThatCannotBeSwitchedAreToldAndTriedAgain) {
  const std::string strDocument = "version: 1\nevents: {late: {at: daily}}\n...\n";
  {
    const HostTest::FakeSystemctl systemctl("[ \"$1\" != start ] || { echo 'not today'; exit 1; }\n");
    EXPECT_THAT(apply(plan(strDocument)).vecFailed, ElementsAre(HasSubstr("not today")));
  }
  EXPECT_EQ(readOwnEvents().count("late"), 1U);
  std::filesystem::remove(TIMER);
  const ApplyPlan again = plan(strDocument);
  EXPECT_THAT(again.difference.vecEvents, ElementsAre("late"));
  EXPECT_THAT(again.vecWarnings, ElementsAre(HasSubstr("eorva-event@late.timer is missing")));
  EXPECT_THAT(apply(again).vecFailed, IsEmpty());
  EXPECT_TRUE(plan(strDocument).difference.isEmpty());
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
  EXPECT_THAT(apply(change).vecNotes, IsEmpty());
  Session session;
  EXPECT_EQ(textOf(requireTask(session, "a"), "operation"), "exit 1");
  EXPECT_TRUE(findTask(session, "b").isObject());
}

TEST_F(Apply, IsRefusedWhenSomebodyElseChangedWhatItTouches) {
  const ApplyPlan create = plan(ONE_TASK);
  addOther("a");
  EXPECT_THAT([&] { apply(create); }, ThrowsMessage<Failure>(HasSubstr("changed the task \"a\" meanwhile")));
  const ApplyPlan event = plan("version: 1\nevents: {late: {description: Mine}}\n...\n");
  addEvent("late", {});
  EXPECT_THAT([&] { apply(event); }, ThrowsMessage<Failure>(HasSubstr("changed the event \"late\" meanwhile")));
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
