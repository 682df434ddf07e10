/// Starting a service while systemd restarts, loses requests, or refuses.

#include "common/server/systemd_service.h"

#include <chrono>
#include <csignal>
#include <cstdint>
#include <gmock/gmock.h>
#include <string>
#include <unistd.h>
#include <vector>

#include "common/support/failure.h"
#include "fake_systemd.h"

using namespace Host;
using HostTest::FakeSystemd;
using HostTest::Fate;
using testing::HasSubstr;

namespace {

std::string startOne() {
  std::string strUnit = unitName("fire-bootup", "service");
  startService(strUnit, "a test", {"/bin/true"}, std::chrono::seconds(5), false);
  return strUnit;
}

struct Case {
  const char* szName;
  std::vector<Fate> vecFates;
  std::size_t cAsked;
};

class TransientUnit : public testing::TestWithParam<Case> {};

}  // namespace

TEST_P(TransientUnit, IsStartedOnce) {
  FakeSystemd systemd(GetParam().vecFates);
  const std::string strUnit = startOne();
  systemd.stop();
  EXPECT_EQ(systemd.cStarted, 1);
  EXPECT_EQ(systemd.vecAsked, std::vector<std::string>(GetParam().cAsked, strUnit));
}

INSTANTIATE_TEST_SUITE_P(Though, TransientUnit,
                         testing::Values(Case{"NothingHappens", {Fate::STARTED}, 1},
                                         Case{"SystemdGoesAwayBefore", {Fate::CUT_OFF, Fate::LOST}, 3},
                                         Case{"SystemdGoesAwayAfter", {Fate::STARTED_AND_CUT_OFF}, 2},
                                         Case{"NobodyTellsThatItIs", {Fate::STARTED_UNSEEN}, 1}),
                         [](const auto& testInfo) { return std::string(testInfo.param.szName); });

TEST(TransientUnits, ThatIsRefusedIsNotTriedAgain) {
  FakeSystemd systemd({Fate::REFUSED});
  try {
    startOne();
    FAIL() << "it was started";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr("cannot have systemd start the unit eorva-fire\\x2dbootup-"));
    EXPECT_THAT(failure.what(), HasSubstr("Not today"));
  }
  systemd.stop();
  EXPECT_EQ(systemd.vecAsked.size(), 1U);
}

TEST(TransientUnits, StopBeforeTheVolumesGoAndWhileOwnersCanBeLookedUp) {
  FakeSystemd systemd({});
  startOne();
  systemd.stop();
  EXPECT_THAT(systemd.vecAfter,
              testing::IsSupersetOf({"local-fs.target", "remote-fs.target", "nss-user-lookup.target"}));
}

TEST(TransientUnits, OfExecutionsAreInOneSliceAndCanHaveGroupsOfTheirOwn) {
  FakeSystemd systemd({});
  startOne();
  systemd.stop();
  EXPECT_EQ(systemd.strSlice, "eorva.slice");
  EXPECT_EQ(systemd.iDelegated, 1);
  EXPECT_EQ(systemd.pidMoved, 0U) << "a service starts a process of its own";
}

TEST(TransientUnits, ScopeTakesTheProcessThatAsksForIt) {
  FakeSystemd systemd({});
  const std::string strUnit = unitName("run-copy", "scope");
  becomeScope(strUnit, "a test", SIGURG, std::chrono::seconds(5));
  systemd.stop();
  EXPECT_EQ(systemd.vecAsked, std::vector<std::string>{strUnit});
  EXPECT_EQ(systemd.pidMoved, static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(systemd.strSlice, "eorva.slice");
  EXPECT_EQ(systemd.iDelegated, 1);
}

TEST(TransientUnits, NamesAreCutBetweenEscapes) {
  const std::string strName = unitName("run-" + std::string(100, '\xc3'), "scope");
  EXPECT_THAT(strName, testing::MatchesRegex("eorva-run\\\\x2d(\\\\xc3)+-[0-9a-f]+-[0-9a-f]+\\.scope"));
  EXPECT_LT(strName.size(), 200U);
}
