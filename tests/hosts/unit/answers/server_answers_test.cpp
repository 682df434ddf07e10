/// Shares, the configuration and applied changes as programs get them.

#include "common/answers/server_answers.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "common/server/shares.h"
#include "common/state/state_change.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;

namespace {

constexpr char SHARES[] = "/etc/orva/shares.conf";

class ServerAnswers : public testing::Test {
protected:
  void SetUp() override { HostTest::freshHost(); }

  void TearDown() override { std::filesystem::remove(SHARES); }
};

}  // namespace

TEST_F(ServerAnswers, ShareThatCannotBeUsedHasTheReason) {
  std::filesystem::create_directories("/etc/orva");
  OrvaTest::writeFile(SHARES, "[good]\npath = /tmp\n[lost]\npath = /tmp/missing\n");
  const Json::Value jShares = sharesForPrograms(readShares());
  ASSERT_EQ(jShares.size(), 2U);
  EXPECT_EQ(jShares[0]["name"], "good");
  EXPECT_EQ(jShares[0]["path"], "/tmp");
  EXPECT_EQ(jShares[0]["accessible"], true);
  EXPECT_GT(jShares[0]["free"].asUInt64(), 0U);
  EXPECT_EQ(jShares[0]["volume"], "/tmp");
  EXPECT_TRUE(jShares[0].isMember("why_not") && jShares[0]["why_not"].isNull());
  EXPECT_EQ(jShares[1]["accessible"], false);
  EXPECT_NE(jShares[1]["why_not"].asString(), "");
}

TEST_F(ServerAnswers, ConfigurationIsTheStoredSectionWithTheSettings) {
  OrvaTest::writeFile(SETTINGS_PATH, "retention_runs=7\n");
  OrvaTest::writeFile(CONFIG_PATH, R"({"eorvascheduler":{"type":"eorvascheduler","output_path":"logs"},"other":[]})");
  const Json::Value jConfig = configForPrograms();
  EXPECT_EQ(jConfig["type"], "eorvascheduler");
  EXPECT_EQ(jConfig["output_path"], "logs");
  EXPECT_FALSE(jConfig.isMember("enable_output"));
  EXPECT_FALSE(jConfig.isMember("other"));
  EXPECT_EQ(jConfig["settings"]["retention_runs"], "7");
  EXPECT_EQ(jConfig["settings"]["stop_grace"], "10s") << "a default";
}

TEST_F(ServerAnswers, SettingIsItsKeyAndItsValue) {
  EXPECT_EQ(settingForPrograms("stop_grace", "10s"), objectOf({{"key", "stop_grace"}, {"value", "10s"}}));
}

TEST_F(ServerAnswers, DifferenceIsListsOfNames) {
  const Json::Value jOut = differenceForPrograms({{"a"}, {"b", "c"}, {}, {"stop_grace"}}, true);
  EXPECT_EQ(jOut, objectOf({{"applied", true},
                            {"created", arrayOf(std::vector<std::string>{"a"})},
                            {"changed", arrayOf(std::vector<std::string>{"b", "c"})},
                            {"deleted", Json::arrayValue},
                            {"configuration", arrayOf(std::vector<std::string>{"stop_grace"})}}));
  EXPECT_EQ(differenceForPrograms({}, false)["applied"], false);
}
