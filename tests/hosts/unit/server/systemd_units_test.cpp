/// The states of units, from a fake systemctl.

#include "common/server/systemd_units.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>

#include "support/files.h"

using namespace Host;
using testing::ElementsAre;

namespace {

constexpr char FOLDER[] = "/tmp/fake_systemctl";
constexpr char CALLS[] = "/tmp/fake_systemctl/calls";

/// A server where systemd runs.
class Units : public testing::Test {
protected:
  void SetUp() override {
    std::filesystem::create_directories(FOLDER);
    std::filesystem::create_directories("/run/systemd/system");
    OrvaTest::writeFile(CALLS, "");
    const std::string strProgram = std::string(FOLDER) + "/systemctl";
    OrvaTest::writeFile(strProgram,
                        "#!/bin/sh\n"
                        "echo \"$*\" >>/tmp/fake_systemctl/calls\n"
                        "printf 'Names=other.service one.service\\nActiveState=active\\nTriggeredBy=\\n"
                        "UnitFileState=enabled\\n\\n'\n"
                        "printf 'ActiveState=inactive\\nNames=two.service\\nTriggeredBy=a.timer b.path\\n\\n'\n"
                        "printf '%s\\n' ActiveState=failed 'Names=\"in\\\\x20box.service\"' "
                        "'TriggeredBy=\"in\\\\x20box.path\"'\n");
    std::filesystem::permissions(strProgram, std::filesystem::perms::owner_all);
    m_strPath = getenv("PATH");
    setenv("PATH", (FOLDER + (":" + m_strPath)).c_str(), 1);
  }

  void TearDown() override {
    setenv("PATH", m_strPath.c_str(), 1);
    std::filesystem::remove_all(FOLDER);
    std::filesystem::remove_all("/run/systemd");
  }

  std::string m_strPath;
};

}  // namespace

TEST_F(Units, AreAskedForInOneCall) {
  const std::vector<UnitState> vecStates = unitStates({"two.service", "one.service"});
  EXPECT_EQ(OrvaTest::readFile(CALLS),
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

TEST_F(Units, WhatTheAnswerForAllLeavesOutIsAskedForByItself) {
  const std::vector<UnitState> vecStates = unitStates({"three.service", "one.service"});
  EXPECT_EQ(OrvaTest::readFile(CALLS),
            "show --property=Names,UnitFileState,ActiveState,TriggeredBy -- three.service one.service\n"
            "show --property=Names,UnitFileState,ActiveState,TriggeredBy -- three.service\n");
  ASSERT_EQ(vecStates.size(), 2U);
  EXPECT_EQ(vecStates[0].strActive, "");
  EXPECT_TRUE(vecStates[0].blKnown);
  EXPECT_EQ(vecStates[1].strActive, "active");
}

TEST_F(Units, ThatNobodyAsksForNeedNoCall) {
  EXPECT_TRUE(unitStates({}).empty());
  EXPECT_EQ(OrvaTest::readFile(CALLS), "");
}
