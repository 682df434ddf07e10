/// The timers of own events: what differs from the stored events is found, and set right. No systemd runs, so systemctl
/// reads and changes files.

#include "common/events/event_timer.h"

#include <chrono>
#include <filesystem>
#include <gmock/gmock.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fake_systemctl.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

namespace {

constexpr char TIMER[] = "/etc/systemd/system/eorva-event@nightly.timer";
constexpr char LINK[] = "/etc/systemd/system/timers.target.wants/eorva-event@nightly.timer";

class EventTimer : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::create_directories(UNIT_FOLDER);
    store({{"nightly", {"", {"Mon..Fri 22:30", "daily"}, true}}, {"inbox", {}}});
  }

  void TearDown() override {
    std::filesystem::remove(TIMER);
    std::filesystem::remove(LINK);
  }

  void store(const EventsByName& events) {
    m_events = events;
    OrvaTest::writeFile(OWN_EVENTS_PATH, ownEventsText(events));
  }

  std::vector<TimerProblem::Kind> kinds() const {
    std::vector<TimerProblem::Kind> vecKinds;
    for (const TimerProblem& problem : timerProblems(m_events)) {
      EXPECT_EQ("eorva-event@nightly.timer", problem.strUnit);
      EXPECT_EQ("nightly", problem.strEvent);
      vecKinds.push_back(problem.kind);
    }
    return vecKinds;
  }

  static SettledTimers settle() { return settleTimers(ConfigLock()); }

  EventsByName m_events;
};

}  // namespace

TEST_F(EventTimer, IsWrittenAndEnabled) {
  EXPECT_THAT(kinds(), ElementsAre(TimerProblem::MISSING));
  EXPECT_THAT(settle().vecUnits, ElementsAre("eorva-event@nightly.timer"));
  EXPECT_THAT(OrvaTest::readFile(TIMER), HasSubstr("\nOnCalendar=Mon..Fri 22:30\nOnCalendar=daily\n"));
  EXPECT_TRUE(std::filesystem::is_symlink(LINK));
  EXPECT_THAT(kinds(), IsEmpty());
  EXPECT_THAT(settle().vecUnits, IsEmpty());
}

TEST_F(EventTimer, ThatWasChangedIsWrittenAgain) {
  settle();
  OrvaTest::writeFile(TIMER, OrvaTest::readFile(TIMER) + "# mine\n");
  EXPECT_THAT(kinds(), ElementsAre(TimerProblem::CHANGED));
  settle();
  EXPECT_THAT(kinds(), IsEmpty());
}

TEST_F(EventTimer, IsEnabledAndDisabledAsTheEvent) {
  settle();
  std::filesystem::remove(LINK);
  EXPECT_THAT(kinds(), ElementsAre(TimerProblem::DISABLED));
  settle();
  EXPECT_TRUE(std::filesystem::is_symlink(LINK));
  m_events.at("nightly").blEnabled = false;
  store(m_events);
  EXPECT_THAT(kinds(), ElementsAre(TimerProblem::ENABLED));
  settle();
  EXPECT_FALSE(std::filesystem::is_symlink(LINK));
  EXPECT_THAT(kinds(), IsEmpty());
}

TEST_F(EventTimer, ThatIsLeftIsRemoved) {
  settle();
  m_events.at("nightly").vecAt.clear();
  store(m_events);
  EXPECT_THAT(kinds(), ElementsAre(TimerProblem::LEFT));
  settle();
  EXPECT_FALSE(std::filesystem::exists(TIMER));
  EXPECT_FALSE(std::filesystem::is_symlink(LINK));
}

TEST_F(EventTimer, OfSomebodyElseStays) {
  const std::string strForeign = "[Timer]\nOnCalendar=weekly\n";
  OrvaTest::writeFile(TIMER, strForeign);
  EXPECT_THAT(kinds(), ElementsAre(TimerProblem::FOREIGN));
  EXPECT_THAT(settle().vecFailed, ElementsAre(HasSubstr("was not written by eorva")));
  store({});
  EXPECT_THAT(kinds(), IsEmpty());
  settle();
  EXPECT_EQ(strForeign, OrvaTest::readFile(TIMER));
}

TEST_F(EventTimer, OneOfThemIsSetRightAlone) {
  store({{"nightly", {"", {"daily"}, true}}, {"back up/home-1", {"", {"daily"}, true}}});
  const std::string strOther = std::string(UNIT_FOLDER) + R"(/eorva-event@back\x20up-home\x2d1.timer)";
  EXPECT_THAT(settleTimer(ConfigLock(), "back up/home-1").vecUnits,
              ElementsAre(R"(eorva-event@back\x20up-home\x2d1.timer)"));
  EXPECT_TRUE(std::filesystem::exists(strOther));
  EXPECT_FALSE(std::filesystem::exists(TIMER));
  store({});
  EXPECT_THAT(settle().vecUnits, ElementsAre(R"(eorva-event@back\x20up-home\x2d1.timer)"));
  EXPECT_FALSE(std::filesystem::exists(strOther));
}

TEST_F(EventTimer, BeginsAnewWhereSystemdRuns) {
  const HostTest::FakeSystemctl systemctl("exit 0\n");
  const std::filesystem::path stamp = "/var/lib/systemd/timers/stamp-eorva-event@nightly.timer";
  std::filesystem::create_directories(stamp.parent_path());
  OrvaTest::writeFile(stamp, "");
  std::filesystem::last_write_time(stamp, std::filesystem::file_time_type::clock::now() - std::chrono::hours(24));
  settle();
  EXPECT_LT(std::filesystem::file_time_type::clock::now() - std::filesystem::last_write_time(stamp),
            std::chrono::hours(1))
      << "times that were missed before do not count";
  EXPECT_THAT(HostTest::FakeSystemctl::calls(),
              HasSubstr("stop -- eorva-event@nightly.timer\ndaemon-reload\n"
                        "--quiet enable -- eorva-event@nightly.timer\nstart -- eorva-event@nightly.timer\n"));
}

TEST_F(EventTimer, ThatDoesNotRunIsStarted) {
  const HostTest::FakeSystemctl systemctl(
      "[ \"$1\" = show ] && printf 'Names=eorva-event@nightly.timer\\nUnitFileState=enabled\\nActiveState=failed\\n'\n"
      "exit 0\n");
  settle();
  EXPECT_THAT(kinds(), ElementsAre(TimerProblem::STOPPED));
}

TEST_F(EventTimer, RefusalOfSystemdIsToldWithItsWords) {
  const HostTest::FakeSystemctl systemctl("[ \"$1\" != start ] || { echo 'not today'; exit 1; }\n");
  EXPECT_THAT(settle().vecFailed, ElementsAre(HasSubstr("not today")));
}
