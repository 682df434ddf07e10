/// Events of one's own are added, changed and removed completely, or not at all. No systemd runs, so systemctl changes
/// files.

#include "common/events/change_event.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>

#include "common/events/event_switch.h"
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
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr char TIMER[] = "/etc/systemd/system/eorva-event@nightly.timer";

class OwnEvent : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::create_directories(UNIT_FOLDER);
    addEvent("nightly", {"After hours", {"Mon..Fri 22:30"}, true});
  }

  void TearDown() override { std::filesystem::remove(TIMER); }

  template <typename Step>
  static std::string whyNot(Step step) {
    try {
      step();
    } catch (const Failure& failure) {
      return failure.what();
    }
    return {};
  }

  static EventSettings nightly() { return readOwnEvents().at("nightly"); }
};

}  // namespace

TEST_F(OwnEvent, IsStoredWithItsTimer) {
  EXPECT_EQ(nightly(), (EventSettings{"After hours", {"Mon..Fri 22:30"}, true}));
  EXPECT_TRUE(std::filesystem::exists(TIMER));
}

TEST_F(OwnEvent, IsAddedOnce) {
  EXPECT_THAT(whyNot([] { addEvent("nightly", {}); }), HasSubstr("the event \"nightly\" exists already"));
  EXPECT_EQ(HostTest::remedyFor([] { addEvent("nightly", {}); }), Hint::EDIT_EVENT);
  EXPECT_THAT(whyNot([] { addEvent("daily", {}); }),
              HasSubstr("the event \"daily\" exists already: it is an installed event"));
  EXPECT_EQ(readOwnEvents().size(), 1U);
}

TEST_F(OwnEvent, ThatIsWrongIsToldCompletely) {
  const std::string strWhy = whyNot([] { addEvent("x", {"two\nlines", {"often", "a\nb"}, true}); });
  EXPECT_THAT(strWhy, HasSubstr("the event \"x\" is not added:\n  description: must be one line"));
  EXPECT_THAT(strWhy, HasSubstr("\n  at: Failed to parse calendar specification 'often'"));
  EXPECT_THAT(strWhy, HasSubstr("\n  at: \"a\nb\" is not a calendar expression"));
  EXPECT_THAT(whyNot([] { addEvent("on_demand", {}); }), HasSubstr("name: must not be \"on_demand\""));
  EXPECT_THAT(whyNot([] { addEvent("y", {"\374", {}, true}); }), HasSubstr("description: is not valid UTF-8"));
  EXPECT_EQ(readOwnEvents().size(), 1U);
}

TEST_F(OwnEvent, WithALongNameHasNoTimes) {
  const std::string strLong(240, 'n');
  EXPECT_THAT(whyNot([&] { addEvent(strLong, {"", {"daily"}, true}); }), HasSubstr("name: is too long"));
  EXPECT_EQ(whyNot([&] { addEvent(strLong, {}); }), "");
}

TEST_F(OwnEvent, DoesNotReplaceATimerOfSomebodyElse) {
  const std::string strPath = std::string(UNIT_FOLDER) + "/eorva-event@mine.timer";
  OrvaTest::writeFile(strPath, "[Timer]\n");
  EXPECT_THAT(whyNot([] { addEvent("mine", {"", {"daily"}, true}); }), HasSubstr("was not written by eorva"));
  EXPECT_EQ(readOwnEvents().count("mine"), 0U);
  EXPECT_EQ(OrvaTest::readFile(strPath), "[Timer]\n");
  std::filesystem::remove(strPath);
}

TEST_F(OwnEvent, WarnsOfTimesInThePast) {
  EXPECT_THAT(addEvent("old", {"", {"2020-01-01"}, true}).vecWarnings,
              ElementsAre("at: \"2020-01-01\" is in the past"));
  removeEvent("old");
}

TEST_F(OwnEvent, IsChangedWhereAsked) {
  changeEvent("nightly", {"Late", {}, {}});
  EXPECT_EQ(nightly(), (EventSettings{"Late", {"Mon..Fri 22:30"}, true}));
  changeEvent("nightly", {{}, std::vector<std::string>{"daily", "5:00"}, {}});
  EXPECT_EQ(nightly(), (EventSettings{"Late", {"daily", "5:00"}, true}));
  EXPECT_THAT(OrvaTest::readFile(TIMER), HasSubstr("\nOnCalendar=daily\nOnCalendar=5:00\n"));
  changeEvent("nightly", {{}, std::vector<std::string>(), {}});
  EXPECT_FALSE(std::filesystem::exists(TIMER));
  EXPECT_THAT(whyNot([] {
                changeEvent("nightly", {{}, std::vector<std::string>{"often"}, {}});
              }),
              HasSubstr("the event \"nightly\" is not changed:\n  at: "));
}

TEST_F(OwnEvent, ThatIsNotThereHasASuggestion) {
  EXPECT_THAT(whyNot([] { removeEvent("nigthly"); }),
              HasSubstr("there is no event \"nigthly\"; did you mean \"nightly\"?"));
  EXPECT_EQ(HostTest::remedyFor([] { removeEvent("daily"); }), Hint::SWITCH_EVENT);
  const Session session(Session::Store::CREATE);
  HostTest::addTask(session, "a", "true", objectOf({{"event", "inbox"}}));
  EXPECT_EQ(HostTest::remedyFor([] { changeEvent("inbox", {"x", {}, {}}); }), Hint::ADD_EVENT);
}

TEST_F(OwnEvent, StaysAsLongAsItHasTasks) {
  {
    const Session session(Session::Store::CREATE);
    HostTest::addTask(session, "a", "true", objectOf({{"event", "nightly"}}));
  }
  EXPECT_THAT(whyNot([] { removeEvent("nightly"); }), HasSubstr("is not removed: it has tasks: a"));
  EXPECT_EQ(readOwnEvents().size(), 1U);
}

TEST_F(OwnEvent, IsRemovedWithItsTimer) {
  removeEvent("nightly");
  EXPECT_TRUE(readOwnEvents().empty());
  EXPECT_FALSE(std::filesystem::exists(TIMER));
}

TEST_F(OwnEvent, IsEnabledAndDisabled) {
  disableEvent(requireSwitchable({"nightly"}).front());
  EXPECT_FALSE(nightly().blEnabled);
  EXPECT_EQ("disabled", disabledState("nightly"));
  enableEvent(requireSwitchable({"nightly"}).front());
  EXPECT_TRUE(nightly().blEnabled);
  EXPECT_EQ("", disabledState("nightly"));
}

TEST_F(OwnEvent, WithoutTimesCannotBeEnabled) {
  addEvent("inbox", {});
  EXPECT_EQ(HostTest::remedyFor([] { requireSwitchable({"inbox"}); }), Hint::SET_TIMES);
}

TEST_F(OwnEvent, WhoseTimerCannotBeMadeIsStored) {
  const HostTest::FakeSystemctl systemctl("[ \"$1\" != start ] || { echo 'not today'; exit 1; }\n");
  EXPECT_THAT(whyNot([] {
                addEvent("late", {"", {"daily"}, true});
              }),
              AllOf(HasSubstr("the event \"late\" is added, but its timer is not: "), HasSubstr("not today")));
  EXPECT_EQ(readOwnEvents().count("late"), 1U);
  removeEvent("late");
}

TEST_F(OwnEvent, WithTimesNeedsSystemd) {
  const std::string strPath = std::getenv("PATH");
  setenv("PATH", "/nowhere", 1);
  const std::string strWhy = whyNot([] { addEvent("x", {"", {"daily"}, true}); });
  const std::string strPlain = whyNot([] { addEvent("plain", {}); });
  setenv("PATH", strPath.c_str(), 1);
  EXPECT_THAT(strWhy, HasSubstr("at: systemd is not installed here"));
  EXPECT_EQ(strPlain, "");
}
