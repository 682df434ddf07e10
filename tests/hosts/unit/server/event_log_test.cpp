/// The event log, read while it grows and while its files are renamed.

#include "common/server/event_log.h"

#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <limits>
#include <unistd.h>

#include "orva_platform.h"

#include "support/files.h"
#include "support/private_view.h"

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string FOLDER = "/var/log/orva/";
const std::string NEWEST = FOLDER + "event.jsonl";

class EventLogs : public testing::Test {
protected:
  void SetUp() override {
    OrvaTest::freshProduct();
    std::filesystem::remove_all(FOLDER);
  }

  /// A line of the log.
  static std::string line(const std::string& strAbout, int iTime = 1000) {
    return fmt::format(R"({{"args":["{}"],"code":"0x14400004","level":1,"pid":1,"time":{}}})", strAbout, iTime) + "\n";
  }

  static void append(const std::string& strText) {
    OrvaTest::writeFile(NEWEST, (OrvaTest::fileExists(NEWEST) ? OrvaTest::readFile(NEWEST) : "") + strText);
  }

  /// Renames the files, as the platform does when the newest is too long.
  static void rotate() {
    for (int i = 5; i > 0; --i) {
      const std::string strFrom = i == 1 ? NEWEST : fmt::format("{}.{}", NEWEST, i - 1);
      if (OrvaTest::fileExists(strFrom)) {
        std::filesystem::rename(strFrom, fmt::format("{}.{}", NEWEST, i));
      }
    }
  }

  static std::vector<std::string> about(const std::vector<Json::Value>& vecEvents) {
    std::vector<std::string> vecAbout;
    for (const Json::Value& jEvent : vecEvents) {
      vecAbout.push_back(jEvent["args"][0].asString());
    }
    return vecAbout;
  }
};

}  // namespace

TEST_F(EventLogs, NewEventsAreGivenOnce) {
  append(line("a") + line("b") + line("c"));
  EventLog log({2, std::nullopt, "enu"});
  EXPECT_THAT(about(log.read()), ElementsAre("b", "c"));
  EXPECT_THAT(about(log.readNew()), IsEmpty());
  append(line("d"));
  append(line("e"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("d", "e"));
  EXPECT_THAT(about(log.readNew()), IsEmpty());
}

TEST_F(EventLogs, AFileThatBeginsLaterIsReadFromItsBeginning) {
  EventLog log({0, std::nullopt, "enu"});
  EXPECT_THAT(about(log.read()), IsEmpty());
  EXPECT_THAT(about(log.readNew()), IsEmpty());
  append(line("a"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("a"));
}

TEST_F(EventLogs, FilesThatGetOtherNamesLoseNothingAndGiveNothingTwice) {
  append(line("older"));
  rotate();
  append(line("a"));
  EventLog log({1, std::nullopt, "enu"});
  EXPECT_THAT(about(log.read()), ElementsAre("a"));
  append(line("b"));
  rotate();
  // For a moment there is no newest file.
  EXPECT_THAT(about(log.readNew()), ElementsAre("b"));
  append(line("c"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("c"));
  append(line("d"));
  rotate();
  append(line("e"));
  rotate();
  append(line("f"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("d", "e", "f"));
}

TEST_F(EventLogs, ThePlatformsOwnRotationIsFollowed) {
  append(std::string(4999990, '#') + "\n" + line("a"));
  EventLog log({0, std::nullopt, "enu"});
  EXPECT_THAT(about(log.read()), ElementsAre("a"));
  EXPECT_EQ(log.takeUnreadable(), 1U);
  ASSERT_EQ(ORVALogSet1(1, 1, 0x14400004, "b", "", "", ""), 0);
  ASSERT_TRUE(OrvaTest::fileExists(NEWEST + ".1"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("b"));
  EXPECT_EQ(log.takeUnreadable(), 0U);
}

TEST_F(EventLogs, AFileThatWasEmptiedBeginsAnew) {
  append(line("a") + line("b"));
  EventLog log({0, std::nullopt, "enu"});
  log.read();
  ASSERT_EQ(truncate(NEWEST.c_str(), 0), 0);
  EXPECT_THAT(about(log.readNew()), IsEmpty());
  append(line("c"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("c"));
}

TEST_F(EventLogs, AFileThatWasTakenAwayDoesNotBringOlderOnesBack) {
  append(line("older"));
  rotate();
  append(line("a"));
  for (const bool blRemoved : {true, false}) {
    EventLog log({1, std::nullopt, "enu"});
    log.read();
    std::filesystem::rename(NEWEST, FOLDER + "elsewhere");
    if (blRemoved) {
      std::filesystem::remove(FOLDER + "elsewhere");
    }
    append(line("b"));
    EXPECT_THAT(about(log.readNew()), ElementsAre("b"));
  }
}

TEST_F(EventLogs, ALineIsGivenWhenItIsComplete) {
  const std::string strLine = line("long " + std::string(200000, 'x'));
  append(line("a") + strLine.substr(0, 100000));
  EventLog log({0, std::nullopt, "enu"});
  EXPECT_THAT(about(log.read()), ElementsAre("a"));
  EXPECT_THAT(about(log.readNew()), IsEmpty());
  append(strLine.substr(100000) + line("b"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("long " + std::string(200000, 'x'), "b"));
  EXPECT_EQ(log.takeUnreadable(), 0U);
}

TEST_F(EventLogs, ALineThatWasTakenBackIsNotGiven) {
  append(line("a"));
  EventLog log({0, std::nullopt, "enu"});
  log.read();
  // As on a full disk: half a line, which is removed again.
  append(line("b").substr(0, 20));
  EXPECT_THAT(about(log.readNew()), IsEmpty());
  ASSERT_EQ(truncate(NEWEST.c_str(), static_cast<off_t>(line("a").size())), 0);
  EXPECT_THAT(about(log.readNew()), IsEmpty());
  append(line("c"));
  EXPECT_THAT(about(log.readNew()), ElementsAre("c"));
}

TEST_F(EventLogs, TheTimeAppliesToNewEventsToo) {
  append(line("a", 10) + line("b", 20));
  EventLog log({0, 20, "enu"});
  EXPECT_THAT(about(log.read()), ElementsAre("b"));
  append(line("c", 19) + line("d", 21));
  EXPECT_THAT(about(log.readNew()), ElementsAre("d"));
}

TEST_F(EventLogs, ALinkIsNotFollowed) {
  const OrvaTest::TempDir folder;
  OrvaTest::writeFile(folder.path("elsewhere"), line("a"));
  std::filesystem::create_directories(FOLDER);
  std::filesystem::create_symlink(folder.path("elsewhere"), NEWEST);
  EventLog log({0, std::nullopt, "enu"});
  EXPECT_ANY_THROW(log.read());
}
