/// A change of tasks and configuration that is killed at any step has happened or not, and the next command settles it.

#include <filesystem>
#include <gmock/gmock.h>
#include <set>

#include "common/config/configuration.h"
#include "common/state/apply.h"
#include "common/state/initialize.h"
#include "common/state/joint_change.h"
#include "common/state/restore.h"
#include "common/store/database.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "kill_at.h"
#include "support/files.h"

using namespace Host;
using testing::HasSubstr;

namespace {

/// A hundred positions in parts that each cover the whole change.
constexpr unsigned POSITIONS = 100;
constexpr unsigned PARTS = 4;
constexpr unsigned NEVER = 1'000'000;

constexpr char OLD[] =
    "version: 1\nconfiguration:\n  retention_runs: 5\n  output_path: scheduler\ntasks:\n"
    "  one: {event: daily, owner: root, script: echo old}\n  gone: {event: daily, owner: root, script: echo "
    "old}\n...\n";
constexpr char NEW[] =
    "version: 1\nconfiguration:\n  retention_runs: 6\n  output_path: scheduler/other\ntasks:\n"
    "  one: {event: daily, owner: root, script: echo new}\n  more: {event: daily, owner: root, script: echo "
    "new}\n...\n";

void applyText(const char* szText) {
  apply(planApply({szText, "document", true, AllowedEvents::ANY}));
}

class KilledChange : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const std::string strShare = m_folder.path("share");
    std::filesystem::create_directories(strShare);
    OrvaTest::writeFile("/etc/orva/shares.conf", "[scheduler]\npath = " + strShare + "\n");
    initialize("scheduler");
    applyText(NEW);
    writeBackup(m_strBackup);
    m_strNew = stateText(currentState());
    applyText(OLD);
    m_strOld = stateText(currentState());
    execute(openStore(), "pragma wal_checkpoint(truncate)", "the store");
    copyAll(STORE_FOLDER, m_strKept);
    std::filesystem::copy_file(SETTINGS_PATH, m_strKept + "/eorva.conf");
  }

  void TearDown() override { std::filesystem::remove("/etc/orva/shares.conf"); }

  static void copyAll(const std::string& strFrom, const std::string& strTo) {
    std::filesystem::remove_all(strTo);
    std::filesystem::copy(strFrom, strTo, std::filesystem::copy_options::recursive);
  }

  void putOldBack() const {
    copyAll(m_strKept, STORE_FOLDER);
    const std::string strSettings = std::string(STORE_FOLDER) + "/eorva.conf";
    std::filesystem::copy_file(strSettings, SETTINGS_PATH, std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(strSettings);
  }

  /// Kills a change at each position of a part.
  void killAtManySteps(const std::function<void()>& fnChange, unsigned iPart) {
    const unsigned cSteps = HostTest::killAt(NEVER, fnChange);
    ASSERT_EQ(stateText(currentState()), m_strNew);
    std::set<std::string> setSaid;
    unsigned cOld = 0;
    unsigned cNew = 0;
    for (unsigned i = iPart; i < POSITIONS; i += PARTS) {
      putOldBack();
      const unsigned iStep = 1 + i * cSteps / POSITIONS;
      HostTest::killAt(iStep, fnChange);
      const bool blNoted = OrvaTest::fileExists(CHANGE_NOTE_PATH);
      const std::string strSaid = settleInterruptedChange();
      EXPECT_EQ(strSaid.empty(), !blNoted) << "step " << iStep;
      setSaid.insert(strSaid);
      const std::string strState = stateText(currentState());
      ASSERT_TRUE(strState == m_strOld || strState == m_strNew) << "step " << iStep << "\n" << strState;
      ++(strState == m_strOld ? cOld : cNew);
      EXPECT_FALSE(OrvaTest::fileExists(CHANGE_NOTE_PATH));
      EXPECT_EQ(settleInterruptedChange(), "");
    }
    EXPECT_GT(cOld, 0U);
    EXPECT_GT(cNew, 0U);
    EXPECT_THAT(setSaid, testing::Contains(HasSubstr("undone")));
    EXPECT_THAT(setSaid, testing::Contains(HasSubstr("finished")));
  }

  OrvaTest::TempDir m_folder;
  std::string m_strBackup = m_folder.path("kept.db");
  std::string m_strKept = m_folder.path("kept");
  std::string m_strOld;
  std::string m_strNew;
};

class KilledAtAStep : public KilledChange, public testing::WithParamInterface<unsigned> {};

}  // namespace

TEST_P(KilledAtAStep, ApplyIsDoneOrNot) {
  killAtManySteps([] { applyText(NEW); }, GetParam());
}

TEST_P(KilledAtAStep, RestoreIsDoneOrNot) {
  killAtManySteps([this] { restore(m_strBackup, Owners::THE_SAME); }, GetParam());
}

INSTANTIATE_TEST_SUITE_P(Part, KilledAtAStep, testing::Range(0U, PARTS));

TEST_F(KilledChange, BothFilesOfTheConfigurationChangeTogether) {
  const auto set = [] {
    const ConfigLock lock;
    setConfig(lock, {{"retention_runs", "8"}, {"output_path", "scheduler/x"}});
  };
  const unsigned cSteps = HostTest::killAt(NEVER, set);
  for (unsigned iStep = 1; iStep <= cSteps; ++iStep) {
    putOldBack();
    HostTest::killAt(iStep, set);
    settleInterruptedChange();
    EXPECT_EQ(configText("retention_runs") == "8", configText("output_path") == "scheduler/x") << "step " << iStep;
  }
}

TEST_F(KilledChange, AFileThatCannotBeReplacedIsTriedAgain) {
  putOldBack();
  std::filesystem::remove(SETTINGS_PATH);
  {
    const ConfigLock lock;
    ConfigChange change(lock, {{SETTINGS_PATH, "retention_runs=9\n"}});
    std::filesystem::create_directories(SETTINGS_PATH);
    EXPECT_THROW(change.finish(), Failure);
    EXPECT_THROW(ConfigChange(lock, {}), Failure);
  }
  EXPECT_THROW(settleInterruptedChange(), Failure);
  std::filesystem::remove(SETTINGS_PATH);
  EXPECT_THAT(settleInterruptedChange(), HasSubstr("finished"));
  EXPECT_EQ(configText("retention_runs"), "9");
}
