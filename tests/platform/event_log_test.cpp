#include <algorithm>
#include <filesystem>
#include <json/reader.h>
#include <sstream>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"
#include "support/processes.h"

namespace fs = std::filesystem;
using OrvaTest::PlatformTest;

namespace {

constexpr const char* EVENT_FILE = "/var/log/orva/event.jsonl";

// A socket in the place of the journal or the log daemon.
class Listener {
public:
  explicit Listener(const std::string& strPath)
      : m_strPath(strPath), m_fd(socket(AF_UNIX, SOCK_DGRAM | SOCK_NONBLOCK, 0)) {
    fs::create_directories(fs::path(strPath).parent_path());
    fs::remove(strPath);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    strPath.copy(address.sun_path, sizeof address.sun_path - 1);
    if (bind(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("bind " + strPath);
    }
  }
  ~Listener() {
    close(m_fd);
    fs::remove(m_strPath);
  }
  Listener(const Listener&) = delete;
  Listener& operator=(const Listener&) = delete;

  // The next datagram; empty when there is none.
  std::string receive() {
    std::string strText(65536, '\0');
    const ssize_t cb = recv(m_fd, strText.data(), strText.size(), 0);
    strText.resize(static_cast<std::size_t>(std::max<ssize_t>(cb, 0)));
    return strText;
  }

private:
  std::string m_strPath;
  int m_fd;
};

class EventLog : public PlatformTest {
protected:
  void SetUp() override {
    PlatformTest::SetUp();
    OrvaTest::installPlatformFiles();
  }

  std::vector<Json::Value> events() {
    std::vector<Json::Value> vecEvent;
    std::istringstream lines(OrvaTest::readFile(EVENT_FILE));
    for (std::string strLine; std::getline(lines, strLine);) {
      Json::Value jEvent;
      std::istringstream(strLine) >> jEvent;
      vecEvent.push_back(jEvent);
    }
    return vecEvent;
  }
};

TEST_F(EventLog, JournalGetsTextIdCodeAndArguments) {
  Listener journal("/run/systemd/journal/socket");
  errno = 5;
  EXPECT_EQ(ORVALogSet1(1, 1, 0x14400006, "old", "new", "", ""), 0);
  EXPECT_EQ(errno, 5);
  const std::string strEntry = journal.receive();
  EXPECT_THAT(strEntry, testing::HasSubstr("MESSAGE=Task \"old\" was given the new name \"new\".\n"));
  EXPECT_THAT(strEntry, testing::HasSubstr("PRIORITY=6\n"));
  EXPECT_THAT(strEntry, testing::HasSubstr("ORVA_EVENT_CODE=0x14400006\n"));
  EXPECT_THAT(strEntry, testing::HasSubstr("ORVA_EVENT_ARG1=old\n"));
  EXPECT_THAT(strEntry, testing::HasSubstr("ORVA_EVENT_ARG2=new\n"));
  EXPECT_THAT(strEntry, testing::Not(testing::HasSubstr("ARG3")));
  EXPECT_THAT(strEntry, testing::HasSubstr("MESSAGE_ID=2aa41affa15346d0835e730e0ef4cb57\n"));
}

TEST_F(EventLog, LevelBecomesThePriority) {
  Listener journal("/run/systemd/journal/socket");
  for (const auto& [iLevel, strPriority] : {std::pair(1, "6"), std::pair(2, "4"), std::pair(3, "3")}) {
    EXPECT_EQ(ORVALogSet1(1, iLevel, 0x14400101, "", "", "", ""), 0);
    EXPECT_THAT(journal.receive(), testing::HasSubstr(std::string("PRIORITY=") + strPriority + "\n"));
  }
}

TEST_F(EventLog, WithoutJournalTheEntryGoesToSyslog) {
  Listener log("/dev/log");
  EXPECT_EQ(ORVALogSet1(1, 3, 0x14400200, "backup", "", "", ""), 0);
  const std::string strLine = log.receive();
  EXPECT_THAT(strLine, testing::StartsWith("<11>"));
  EXPECT_THAT(strLine, testing::HasSubstr("Task \"backup\" was not run"));
  EXPECT_THAT(strLine, testing::HasSubstr("[0x14400200]"));
}

TEST_F(EventLog, ArgumentCannotForgeALineOrAPlaceholder) {
  Listener log("/dev/log");
  ORVALogSet1(1, 1, 0x14400006, "%2\nforged", "x", "", "");
  EXPECT_THAT(log.receive(), testing::HasSubstr("Task \"%2 forged\" was given the new name \"x\"."));
}

TEST_F(EventLog, UnknownCodeAndMissingCatalogueShowCodeAndArguments) {
  Listener log("/dev/log");
  EXPECT_EQ(ORVALogSet1(1, 1, 0x1234, "a", nullptr, "c", nullptr), 0);
  EXPECT_THAT(log.receive(), testing::HasSubstr("Event 0x00001234 [a] [c]"));
  fs::remove_all("/usr/orva/share/log");
  EXPECT_EQ(ORVALogSet1(1, 1, 0x14400004, "a", "", "", ""), 0);
  EXPECT_THAT(log.receive(), testing::HasSubstr("Event 0x14400004 [a]"));
}

TEST_F(EventLog, DamagedCatalogueCostsItsTextsAlone) {
  OrvaTest::writeFile("/usr/orva/share/log/damaged.json", "{\"0x00000001\": ");
  OrvaTest::writeFile("/usr/orva/share/log/odd.json", "{\"0x00000002\": 7, \"0x00000003\": {\"enu\": 7}}");
  Listener log("/dev/log");
  EXPECT_EQ(ORVALogSet1(1, 1, 2, "a", "", "", ""), 0);
  EXPECT_EQ(ORVALogSet1(1, 1, 3, "a", "", "", ""), 0);
  EXPECT_EQ(ORVALogSet1(1, 1, 0x14400004, "a", "", "", ""), 0);
  std::string strAll;
  for (std::string strLine = log.receive(); !strLine.empty(); strLine = log.receive()) {
    strAll += strLine;
  }
  EXPECT_THAT(strAll, testing::HasSubstr("damaged.json is malformed"));
  EXPECT_THAT(strAll, testing::HasSubstr("Event 0x00000002 [a]"));
  EXPECT_THAT(strAll, testing::HasSubstr("Event 0x00000003 [a]"));
  EXPECT_THAT(strAll, testing::HasSubstr("Task \"a\" was created."));
}

TEST_F(EventLog, BadTypeAndLevelAreRefused) {
  EXPECT_LT(ORVALogSet1(2, 1, 0x14400004, "", "", "", ""), 0);
  EXPECT_LT(ORVALogSet1(1, 0, 0x14400004, "", "", "", ""), 0);
  EXPECT_LT(ORVALogSet1(1, 4, 0x14400004, "", "", "", ""), 0);
  EXPECT_EQ(KLIBCErrGet(), EINVAL);
  EXPECT_FALSE(fs::exists(EVENT_FILE));
}

TEST_F(EventLog, EventFileHasOneObjectALine) {
  ORVALogSet1(1, 1, 0x14400004, "a \"quoted\"\nname", "", "", "");
  ORVALogSet1(1, 3, 0x14400200, "日本\xFF", "", "", "");
  const auto vecEvent = events();
  ASSERT_EQ(vecEvent.size(), 2U);
  EXPECT_EQ(vecEvent[0]["args"][0].asString(), "a \"quoted\"\nname");
  EXPECT_EQ(vecEvent[0]["level"].asInt(), 1);
  EXPECT_EQ(vecEvent[0]["code"].asString(), "0x14400004");
  EXPECT_EQ(vecEvent[0]["pid"].asInt(), getpid());
  EXPECT_GT(vecEvent[0]["time"].asInt64(), 1'700'000'000);
  EXPECT_EQ(vecEvent[1]["args"][0].asString(), "日本\uFFFD");
  EXPECT_EQ(OrvaTest::fileMode(EVENT_FILE), 0640U);
}

TEST_F(EventLog, EventFileIsMovedAsideBeforeFiveMegabytesAndFiveAreKept) {
  fs::create_directories("/var/log/orva");
  const std::string strBase = EVENT_FILE;
  for (int i = 1; i <= 5; ++i) {
    OrvaTest::writeFile(strBase + "." + std::to_string(i), std::to_string(i));
  }
  OrvaTest::writeFile(EVENT_FILE, std::string(5'000'000 - 10, 'x'));
  ORVALogSet1(1, 1, 0x14400004, "a", "", "", "");
  EXPECT_EQ(events().size(), 1U);
  EXPECT_EQ(fs::file_size(strBase + ".1"), 5'000'000U - 10);
  EXPECT_EQ(OrvaTest::readFile(strBase + ".2"), "1");
  EXPECT_EQ(OrvaTest::readFile(strBase + ".5"), "4");
  EXPECT_FALSE(fs::exists(strBase + ".6"));
}

TEST_F(EventLog, ManyProcessesLoseNoEventWhileTheFileIsMoved) {
  fs::create_directories("/var/log/orva");
  OrvaTest::writeFile(EVENT_FILE, std::string(4'990'000, '\n'));
  constexpr int N_PROCESSES = 8;
  constexpr int N_EVENTS = 50;
  for (int iProcess = 0; iProcess < N_PROCESSES; ++iProcess) {
    if (fork() == 0) {
      for (int i = 0; i < N_EVENTS; ++i) {
        ORVALogSet1(1, 1, 0x14400004, std::to_string(i).c_str(), "", "", "");
      }
      _exit(0);
    }
  }
  while (wait(nullptr) > 0) {
  }
  std::size_t cLine = events().size();
  std::istringstream moved(OrvaTest::readFile(std::string(EVENT_FILE) + ".1"));
  for (std::string strLine; std::getline(moved, strLine);) {
    cLine += strLine.empty() ? 0 : 1;
  }
  EXPECT_EQ(cLine, static_cast<std::size_t>(N_PROCESSES * N_EVENTS));
}

TEST_F(EventLog, FullDiskLeavesNoHalfLine) {
  OrvaTest::mountTmpfs("/var/log/orva", "size=64k");
  fs::create_directories("/var/log/orva");
  OrvaTest::writeFile("/var/log/orva/ballast", std::string(60 * 1024, 'x'));
  const std::string strLong(1500, 'x');
  for (int i = 0; i < 10; ++i) {
    EXPECT_EQ(ORVALogSet1(1, 1, 0x14400004, strLong.c_str(), "", "", ""), 0);
  }
  EXPECT_THAT(OrvaTest::readFile(EVENT_FILE), testing::EndsWith("}\n"));
  for (const Json::Value& jEvent : events()) {
    EXPECT_EQ(jEvent["args"][0].asString(), strLong);
  }
  OrvaTest::runCommand({"umount", "/var/log/orva"});
}

TEST_F(EventLog, PlantedLinkForTheEventFileIsNotFollowed) {
  fs::create_directories("/var/log/orva");
  OrvaTest::writeFile("/tmp/victim", "kept");
  fs::create_symlink("/tmp/victim", EVENT_FILE);
  EXPECT_EQ(ORVALogSet1(1, 1, 0x14400004, "a", "", "", ""), 0);
  EXPECT_EQ(OrvaTest::readFile("/tmp/victim"), "kept");
}

// Exit status of a child that writes an event and would then go on.
int statusOfChildThatLogs(unsigned int uCode) {
  const pid_t pid = fork();
  if (pid == 0) {
    ORVALogSet1(1, 3, uCode, "task", "", "", "");
    _exit(77);
  }
  int iStatus = -1;
  waitpid(pid, &iStatus, 0);
  return WEXITSTATUS(iStatus);
}

TEST_F(EventLog, ChildEndsAfterTheEventItsParentNamed) {
  ORVALogEndChildAfter(0x14400201);
  EXPECT_EQ(statusOfChildThatLogs(0x14400201), 0);
  EXPECT_EQ(statusOfChildThatLogs(0x14400200), 77);
  ORVALogSet1(1, 3, 0x14400201, "task", "", "", "");
  SUCCEED() << "the calling process goes on";
  ORVALogEndChildAfter(0);
  EXPECT_EQ(statusOfChildThatLogs(0x14400201), 77);
  EXPECT_EQ(events().size(), 4U) << "the event is written before the child ends";
}

}  // namespace
