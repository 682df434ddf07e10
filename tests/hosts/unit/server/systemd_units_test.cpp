/// The states of units, from a fake systemctl.

#include "common/server/systemd_units.h"

#include <gmock/gmock.h>

#include "fake_systemctl.h"

using namespace Host;
using testing::ElementsAre;

namespace {

class Units : public testing::Test {
  const HostTest::FakeSystemctl m_systemctl{
      "printf 'Names=other.service one.service\\nActiveState=active\\nTriggeredBy=\\n"
      "UnitFileState=enabled\\n\\n'\n"
      "printf 'ActiveState=inactive\\nNames=two.service\\nTriggeredBy=a.timer b.path\\n\\n'\n"
      "printf '%s\\n' ActiveState=failed 'Names=\"in\\\\x20box.service\"' 'TriggeredBy=\"in\\\\x20box.path\"'\n"};
};

}  // namespace

TEST_F(Units, AreAskedForInOneCall) {
  const std::vector<UnitState> vecStates = unitStates({"two.service", "one.service"});
  EXPECT_EQ(HostTest::FakeSystemctl::calls(),
            "show --property=Names,UnitFileState,ActiveState,TriggeredBy -- two.service one.service\n");
  ASSERT_EQ(vecStates.size(), 2U);
  EXPECT_EQ(vecStates[0].strActive, "inactive");
  EXPECT_THAT(vecStates[0].vecTriggers, ElementsAre("a.timer", "b.path"));
  EXPECT_EQ(vecStates[1].strInstalled, "enabled");
  EXPECT_EQ(vecStates[1].strActive, "active");
}

TEST_F(Units, NamesWithABackslashAreQuotedBySystemctl) {
  const std::vector<UnitState> vecStates = unitStates({R"(in\x20box.service)"});
  ASSERT_EQ(vecStates.size(), 1U);
  EXPECT_EQ(vecStates[0].strActive, "failed");
  EXPECT_THAT(vecStates[0].vecTriggers, ElementsAre(R"(in\x20box.path)"));
}

TEST_F(Units, UnitMissingInTheAnswerIsAskedForByItself) {
  const std::vector<UnitState> vecStates = unitStates({"three.service", "one.service"});
  EXPECT_EQ(HostTest::FakeSystemctl::calls(),
            "show --property=Names,UnitFileState,ActiveState,TriggeredBy -- three.service one.service\n"
            "show --property=Names,UnitFileState,ActiveState,TriggeredBy -- three.service\n");
  ASSERT_EQ(vecStates.size(), 2U);
  EXPECT_EQ(vecStates[0].strActive, "");
  EXPECT_TRUE(vecStates[0].blKnown);
  EXPECT_EQ(vecStates[1].strActive, "active");
}

TEST(Timers, TellWhenTheyElapse) {
  const HostTest::FakeSystemctl systemctl(
      "cat <<'END'\n[{\"next\":1700000000500000,\"unit\":\"a.timer\"},{\"next\":0,\"unit\":\"b.timer\"},"
      "{\"next\":null,\"unit\":\"c.timer\"}]\nEND\n");
  const std::map<std::string, std::int64_t> mapElapses = nextElapses({"a.timer", "b.timer", "c.timer"});
  EXPECT_EQ(HostTest::FakeSystemctl::calls(), "list-timers --all --output=json -- a.timer b.timer c.timer\n");
  EXPECT_EQ(mapElapses, (std::map<std::string, std::int64_t>{{"a.timer", 1700000000}}));
}

TEST(UnitNames, AreUnescaped) {
  for (const char* szName : {"nightly", "back up/home-1", "ü", "a\\x", "."}) {
    EXPECT_EQ(szName, unescapeUnitName(escapeUnitName(szName)));
  }
}

TEST_F(Units, ThatNobodyAsksForNeedNoCall) {
  EXPECT_TRUE(unitStates({}).empty());
  EXPECT_EQ(HostTest::FakeSystemctl::calls(), "");
}
