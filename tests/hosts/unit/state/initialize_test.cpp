/// A new server gets a store, a configuration and a place for output; an old one keeps them.

#include "common/state/initialize.h"

#include <filesystem>
#include <gtest/gtest.h>

#include "common/config/configuration.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;

namespace {

constexpr char SHARES[] = "/etc/orva/shares.conf";

class Initialize : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::remove_all(STORE_FOLDER);
    std::filesystem::create_directories("/etc/orva");
    std::filesystem::create_directories("/tmp/share");
    OrvaTest::writeFile(SHARES, "[scheduler]\npath = /tmp/share\n[logs]\npath = /tmp/share\n");
  }

  void TearDown() override {
    std::filesystem::remove(SHARES);
    std::filesystem::remove_all("/tmp/share");
  }
};

}  // namespace

TEST_F(Initialize, CreatesTheStoreAndKeepsOutputOnTheInstalledShare) {
  initialize("");
  EXPECT_TRUE(OrvaTest::fileExists(DATABASE_PATH));
  EXPECT_EQ(configText("output_path"), "scheduler");
  EXPECT_EQ(configText("enable_output"), "yes");
}

TEST_F(Initialize, ConfiguredPlaceStaysUnlessAnotherIsGiven) {
  initialize("logs/runs");
  initialize("");
  EXPECT_EQ(configText("output_path"), "logs/runs");
  initialize("scheduler");
  EXPECT_EQ(configText("output_path"), "scheduler");
}

TEST_F(Initialize, WithoutTheInstalledShareNoOutputIsKept) {
  std::filesystem::remove(SHARES);
  initialize("");
  EXPECT_TRUE(OrvaTest::fileExists(DATABASE_PATH));
  EXPECT_EQ(configText("output_path"), "");
}

TEST_F(Initialize, WrongPlaceLeavesTheConfigurationAsItWas) {
  initialize("logs");
  EXPECT_THROW(initialize("no-such-share"), Failure);
  EXPECT_EQ(configText("output_path"), "logs");
}

TEST_F(Initialize, SectionsOfOtherProgramsStay) {
  std::filesystem::create_directories(STORE_FOLDER);
  OrvaTest::writeFile(CONFIG_PATH, R"({"other":[],"eorvascheduler":{"type":"eorvascheduler","output_path":"logs"}})");
  const std::string strBefore = OrvaTest::readFile(CONFIG_PATH);
  initialize("");
  EXPECT_EQ(OrvaTest::readFile(CONFIG_PATH), strBefore);
}

TEST_F(Initialize, StoreOfALinkedFolderIsCreatedBehindTheLink) {
  std::filesystem::create_directories(std::filesystem::path(STORE_FOLDER).parent_path());
  std::filesystem::create_directory_symlink("/tmp/share/store", STORE_FOLDER);
  initialize("");
  EXPECT_TRUE(OrvaTest::fileExists("/tmp/share/store/eorvascheduler.db"));
  std::filesystem::remove(STORE_FOLDER);
}
