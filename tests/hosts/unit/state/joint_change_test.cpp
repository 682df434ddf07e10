/// A command and the note of an interrupted change.

#include "common/state/joint_change.h"

#include <filesystem>
#include <future>
#include <gmock/gmock.h>
#include <optional>

#include "common/config/config_change.h"
#include "common/state/initialize.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;
using testing::HasSubstr;

namespace {

class JointChange : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    initialize("");
    OrvaTest::writeFile(SETTINGS_PATH, "old");
    OrvaTest::writeFile(m_strDraft, "new");
    note(R"({"change": 5, "files": {"/etc/eorva.conf.new": "/etc/eorva.conf"}})");
  }

  void TearDown() override {
    std::filesystem::remove_all(m_strDraft);
    std::filesystem::remove(SETTINGS_PATH);
  }

  static void note(const std::string& strText) { OrvaTest::writeFile(CHANGE_NOTE_PATH, strText); }

  const std::string m_strDraft = std::string(SETTINGS_PATH) + ".new";
};

}  // namespace

TEST_F(JointChange, IsUndoneWhenTheStoreIsLost) {
  std::filesystem::remove(DATABASE_PATH);
  EXPECT_THAT(settleInterruptedChange(), HasSubstr("undone"));
  EXPECT_EQ(OrvaTest::readFile(SETTINGS_PATH), "old");
  EXPECT_FALSE(OrvaTest::fileExists(m_strDraft) || OrvaTest::fileExists(CHANGE_NOTE_PATH));
}

TEST_F(JointChange, IsUndoneLaterWhenAFileCannotBeRemoved) {
  std::filesystem::remove(m_strDraft);
  std::filesystem::create_directory(m_strDraft);
  EXPECT_THROW(settleInterruptedChange(), Failure);
  EXPECT_TRUE(OrvaTest::fileExists(CHANGE_NOTE_PATH));
  std::filesystem::remove(m_strDraft);
  EXPECT_THAT(settleInterruptedChange(), HasSubstr("undone"));
}

TEST_F(JointChange, AnUnreadableNoteIsNamed) {
  note("no JSON");
  try {
    settleInterruptedChange();
    ADD_FAILURE() << "it was read";
  } catch (const Failure& failure) {
    EXPECT_THAT(failure.what(), HasSubstr(CHANGE_NOTE_PATH));
  }
}

TEST_F(JointChange, OthersWaitWhileACommandSettlesIt) {
  std::optional<ConfigLock> lock(std::in_place);
  std::future<bool> settled = std::async(std::launch::async, [] {
    settleInterruptedChange();
    return isConfigChangeNoted();
  });
  EXPECT_EQ(settled.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
  undoConfigChange(readConfigChange(*lock));
  lock.reset();
  EXPECT_FALSE(settled.get());
}

TEST_F(JointChange, ALockThatCannotBeTakenIsAFailure) {
  std::filesystem::remove(CONFIG_LOCK_PATH);
  std::filesystem::create_symlink("elsewhere", CONFIG_LOCK_PATH);
  EXPECT_THROW(settleInterruptedChange(), Failure);
  std::filesystem::remove(CONFIG_LOCK_PATH);
}
