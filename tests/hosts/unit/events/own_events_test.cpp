/// The file of the events that administrators have added: what eorva would not write is refused.

#include "common/events/own_events.h"

#include <gmock/gmock.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;
using testing::AllOf;
using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(OwnEvents, AreReadAsTheyWereWritten) {
  const EventsByName events{{"nightly", {"After \"office\" hours", {"Mon..Fri 22:30", "daily"}, false}}, {"ü", {}}};
  EXPECT_EQ(ownEventsFrom(ownEventsText(events)), events);
}

TEST(OwnEvents, AreNoneWithoutAFile) {
  HostTest::freshHost();
  EXPECT_TRUE(readOwnEvents().empty());
}

TEST(OwnEvents, ThatCannotBeReadNameTheFile) {
  HostTest::freshHost();
  OrvaTest::writeFile(OWN_EVENTS_PATH, R"({"x": {"at": "daily", "description": "", "enabled": true}})");
  EXPECT_THAT([] { readOwnEvents(); },
              ThrowsMessage<Failure>(AllOf(HasSubstr(OWN_EVENTS_PATH), HasSubstr("event \"x\": it must have at"))));
}

TEST(OwnEvents, CannotAddLinesToUnits) {
  for (const char* szAt : {"daily\\nUnit=other.service", "daily\\\\", "", " daily", "%h"}) {
    const std::string strText =
        std::string(R"({"x": {"at": [")") + szAt + R"("], "description": "", "enabled": true}})";
    EXPECT_THAT([&] { ownEventsFrom(strText); },
                ThrowsMessage<Failure>(HasSubstr("is not a calendar expression of systemd")))
        << szAt;
  }
  EXPECT_THAT([] { ownEventsFrom(R"({"a\nb": {"at": [], "description": "", "enabled": true}})"); },
              ThrowsMessage<Failure>(HasSubstr("U+000A")));
  EXPECT_THAT([] { ownEventsFrom(R"({"x": {"at": [], "description": "a\nb", "enabled": true}})"); },
              ThrowsMessage<Failure>(HasSubstr("must be one line")));
}
