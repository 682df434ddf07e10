// The event log in the journal itself: systemd-journald, started in the test's own view of the machine.

#include <csignal>
#include <filesystem>
#include <json/reader.h>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"

namespace fs = std::filesystem;
using OrvaTest::runCommand;

namespace {

// The journal as a child process; it ends with this object.
class Journald {
public:
  Journald() {
    OrvaTest::writeFile("/etc/machine-id", "0123456789abcdef0123456789abcdef\n");
    OrvaTest::writeFile("/etc/systemd/journald.conf",
                        "[Journal]\nStorage=volatile\nReadKMsg=no\nAudit=no\nForwardToSyslog=no\nForwardToWall=no\n");
    fs::create_directories("/run/systemd/journal");
    m_pid = fork();
    if (m_pid == 0) {
      execl("/lib/systemd/systemd-journald", "systemd-journald", nullptr);
      _exit(127);
    }
    waitUntilItAnswers();
  }
  ~Journald() {
    kill(m_pid, SIGTERM);
    waitpid(m_pid, nullptr, 0);
    fs::remove_all("/run/systemd");
    fs::remove_all("/run/log");
  }
  Journald(const Journald&) = delete;
  Journald& operator=(const Journald&) = delete;

private:
  void waitUntilItAnswers() {
    constexpr int N_TRIES = 1200;
    for (int i = 0; i < N_TRIES; ++i) {
      if (fs::exists("/run/systemd/journal/socket") && runCommand({"journalctl", "--sync"}).iStatus == 0) {
        return;
      }
      if (waitpid(m_pid, nullptr, WNOHANG) == m_pid) {
        break;
      }
      usleep(50'000);
    }
    throw std::runtime_error("systemd-journald does not answer");
  }

  pid_t m_pid = -1;
};

class JournalOfTheSystem : public OrvaTest::PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
  }

  // The platform's journal entries with their fields, oldest first.
  static std::vector<Json::Value> journal(const std::vector<std::string>& vecMatch = {}) {
    EXPECT_EQ(runCommand({"journalctl", "--sync"}).iStatus, 0);
    std::vector<std::string> vecCommand = {"journalctl", "--no-pager", "-o", "json", "SYSLOG_IDENTIFIER=orva"};
    vecCommand.insert(vecCommand.end(), vecMatch.begin(), vecMatch.end());
    std::vector<Json::Value> vecEntry;
    std::istringstream lines(runCommand(vecCommand).strOut);
    for (std::string strLine; std::getline(lines, strLine);) {
      std::istringstream(strLine) >> vecEntry.emplace_back();
    }
    return vecEntry;
  }

  static Json::Value logCatalogue() {
    Json::Value jCatalogue;
    std::istringstream(OrvaTest::readFile(OrvaTest::sourceDir() + "/share/log/eorvascheduler.json")) >> jCatalogue;
    return jCatalogue;
  }

  static void installExplanations() {
    fs::create_directories("/usr/lib/systemd/catalog");
    fs::create_directories("/var/lib/systemd/catalog");
    fs::copy_file(OrvaTest::sourceDir() + "/share/journal/eorvascheduler.catalog",
                  "/usr/lib/systemd/catalog/eorvascheduler.catalog", fs::copy_options::overwrite_existing);
    const auto updated = runCommand({"journalctl", "--update-catalog"});
    EXPECT_EQ(updated.iStatus, 0) << updated.strErrors;
  }
};

TEST_F(JournalOfTheSystem, EntryHasTextIdCodeAndArgumentsAsFields) {
  const Journald journald;
  ASSERT_EQ(ORVALogSet1(1, 1, 0x14400006, "old", "new", "", ""), 0);
  const auto vecEntry = journal();
  ASSERT_EQ(vecEntry.size(), 1U);
  EXPECT_EQ(vecEntry[0]["MESSAGE"].asString(), "Task \"old\" was given the new name \"new\".");
  EXPECT_EQ(vecEntry[0]["MESSAGE_ID"].asString(), "2aa41affa15346d0835e730e0ef4cb57");
  EXPECT_EQ(vecEntry[0]["ORVA_EVENT_CODE"].asString(), "0x14400006");
  EXPECT_EQ(vecEntry[0]["ORVA_EVENT_ARG1"].asString(), "old");
  EXPECT_EQ(vecEntry[0]["ORVA_EVENT_ARG2"].asString(), "new");
  EXPECT_FALSE(vecEntry[0].isMember("ORVA_EVENT_ARG3"));
  EXPECT_EQ(vecEntry[0]["PRIORITY"].asString(), "6");
  EXPECT_EQ(vecEntry[0]["_TRANSPORT"].asString(), "journal");
  EXPECT_EQ(vecEntry[0]["_PID"].asString(), std::to_string(getpid()));
}

TEST_F(JournalOfTheSystem, EventsAreFoundByTheirFields) {
  const Journald journald;
  ORVALogSet1(1, 1, 0x14400004, "backup", "", "", "");
  ORVALogSet1(1, 3, 0x14400200, "backup", "", "", "");
  ORVALogSet1(1, 3, 0x14400200, "other", "", "", "");
  EXPECT_EQ(journal({"ORVA_EVENT_CODE=0x14400200"}).size(), 2U);
  EXPECT_EQ(journal({"ORVA_EVENT_ARG1=backup"}).size(), 2U);
  EXPECT_EQ(journal({"PRIORITY=3", "ORVA_EVENT_ARG1=other"}).size(), 1U);
  EXPECT_EQ(journal({"MESSAGE_ID=9d7ed69642a846768eb3ab138102396d"}).size(), 1U);
}

TEST_F(JournalOfTheSystem, ArgumentAddsNoFieldOfItsOwn) {
  const Journald journald;
  const std::string strForged = "a\nMESSAGE_ID=00000000000000000000000000000000\nPRIORITY=0\n";
  ORVALogSet1(1, 1, 0x14400004, strForged.c_str(), "", "", "");
  const auto vecEntry = journal();
  ASSERT_EQ(vecEntry.size(), 1U);
  EXPECT_EQ(vecEntry[0]["MESSAGE_ID"].asString(), "9d7ed69642a846768eb3ab138102396d");
  EXPECT_EQ(vecEntry[0]["PRIORITY"].asString(), "6");
  EXPECT_EQ(vecEntry[0]["ORVA_EVENT_ARG1"].asString(), strForged);
}

TEST_F(JournalOfTheSystem, EveryEventOfTheCatalogueIsExplained) {
  installExplanations();
  const Journald journald;
  const Json::Value jCatalogue = logCatalogue();
  ASSERT_GE(jCatalogue.size(), 7U);
  for (const std::string& strCode : jCatalogue.getMemberNames()) {
    const auto uCode = static_cast<unsigned>(std::stoul(strCode, nullptr, 16));
    ASSERT_EQ(ORVALogSet1(1, 1, uCode, "a", "b", "", ""), 0);
    ASSERT_EQ(runCommand({"journalctl", "--sync"}).iStatus, 0);
    const std::string strShown =
        runCommand({"journalctl", "--no-pager", "-x", "-o", "short", "ORVA_EVENT_CODE=" + strCode}).strOut;
    EXPECT_THAT(strShown, testing::HasSubstr("Subject: Scheduler: ")) << strCode;
    EXPECT_THAT(strShown, testing::HasSubstr("Defined-By: eorvascheduler")) << strCode;
  }
}

TEST_F(JournalOfTheSystem, JournalThatIsRestartedGetsTheNextEvent) {
  {
    const Journald journald;
    ORVALogSet1(1, 1, 0x14400004, "before", "", "", "");
    EXPECT_EQ(journal().size(), 1U);
  }
  EXPECT_EQ(ORVALogSet1(1, 1, 0x14400004, "between", "", "", ""), 0) << "the event file still has it";
  const Journald journald;
  ORVALogSet1(1, 1, 0x14400004, "after", "", "", "");
  const auto vecEntry = journal();
  ASSERT_EQ(vecEntry.size(), 1U);
  EXPECT_EQ(vecEntry[0]["ORVA_EVENT_ARG1"].asString(), "after");
  EXPECT_THAT(OrvaTest::readFile("/var/log/orva/event.jsonl"), testing::HasSubstr("between"));
}

}  // namespace
