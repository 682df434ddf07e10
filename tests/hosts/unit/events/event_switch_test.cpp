/// Events that can be enabled and disabled, and suggestions for mistyped ones.

#include "common/events/event_switch.h"

#include <gmock/gmock.h>

#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "fake_systemctl.h"
#include "fresh_host.h"
#include "remedy.h"
#include "stored.h"

using namespace Host;
using testing::HasSubstr;

namespace {

class EventSwitch : public testing::Test {
protected:
  void SetUp() override { HostTest::freshHost(); }

  /// The text of the failure; empty when there is none.
  template <typename Step>
  std::string failureOf(Step step) {
    try {
      step();
    } catch (const Failure& error) {
      return error.what();
    }
    return {};
  }
};

}  // namespace

TEST_F(EventSwitch, EventsOfTheCatalogueAreFoundInTheOrderGiven) {
  const std::vector<Event> vecEvents = requireSwitchable({"weekly", "bootup"});
  ASSERT_EQ(2U, vecEvents.size());
  EXPECT_EQ("eorva-weekly.timer", vecEvents.at(0).strUnit);
  EXPECT_EQ("eorva-bootup.service", vecEvents.at(1).strUnit);
}

TEST_F(EventSwitch, OneUnknownEventRefusesAll) {
  const std::string strText = failureOf([] { requireSwitchable({"bootup", "weekyl"}); });
  EXPECT_THAT(strText, HasSubstr("\"weekyl\""));
  EXPECT_THAT(strText, HasSubstr("did you mean \"weekly\"?"));
}

TEST_F(EventSwitch, UnknownEventCanBeAdded) {
  EXPECT_EQ(HostTest::remedyFor([] { requireSwitchable({"inbox"}); }), Hint::ADD_EVENT_AT);
}

TEST_F(EventSwitch, EventThatNothingInstalledFiresHasNoState) {
  EXPECT_EQ("", disabledState("an event of my own"));
}

TEST_F(EventSwitch, EventIsKnownFromATaskOrFromTheCatalogue) {
  Session session(Session::Store::CREATE);
  HostTest::addTask(session, "a", "true", objectOf({{"event", "mine"}}));
  EXPECT_EQ("", failureOf([&] { requireEvent(session, "mine"); }));
  EXPECT_EQ("", failureOf([&] { requireEvent(session, "bootup"); }));
  EXPECT_THAT(failureOf([&] { requireEvent(session, "mien"); }), HasSubstr("did you mean \"mine\"?"));
}

TEST_F(EventSwitch, UnitOfAnEnabledEventIsStartedUnlessThatFiresTheEvent) {
  const HostTest::FakeSystemctl systemctl("exit 0\n");
  const std::vector<Event> vecEvents = requireSwitchable({"weekly", "bootup"});
  enableEvent(vecEvents[0]);
  enableEvent(vecEvents[1]);
  EXPECT_EQ(
      "--quiet enable -- eorva-weekly.timer\nstart -- eorva-weekly.timer\n--quiet enable -- eorva-bootup.service\n",
      HostTest::FakeSystemctl::calls());
}

TEST_F(EventSwitch, UnitOfADisabledEventIsStopped) {
  const HostTest::FakeSystemctl systemctl("exit 0\n");
  disableEvent(requireSwitchable({"weekly"}).front());
  EXPECT_EQ("--quiet disable -- eorva-weekly.timer\nstop -- eorva-weekly.timer\n", HostTest::FakeSystemctl::calls());
}

TEST_F(EventSwitch, RefusalOfSystemdIsToldWithItsWords) {
  const HostTest::FakeSystemctl systemctl("echo 'not today' >&2; exit 1\n");
  const Event event = requireSwitchable({"weekly"}).front();
  EXPECT_THAT(failureOf([&] { enableEvent(event); }), HasSubstr("not today"));
  EXPECT_THAT(failureOf([&] { disableEvent(event); }), HasSubstr("not today"));
}
