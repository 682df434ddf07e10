/// The files of a run are found; a failure says why a file is missing.

#include "common/output/run_files.h"

#include <filesystem>
#include <gmock/gmock.h>

#include "common/answers/run_answers.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "support/files.h"

using namespace Host;
using testing::HasSubstr;
using testing::ThrowsMessage;

namespace {

constexpr char PLACE[] = "/srv/kept_files";

class RunFiles : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    std::filesystem::create_directories(std::string(PLACE) + "/a/100");
    std::filesystem::create_directories("/etc/orva");
    OrvaTest::writeFile("/etc/orva/shares.conf", std::string("[kept]\npath = ") + PLACE + "\n");
    OrvaTest::writeFile(CONFIG_PATH, R"({"eorvascheduler": {"type": "eorvascheduler", "output_path": "kept"}})");
    m_jRun["result_id"] = 1;
    m_jRun["task_name"] = "a";
    m_jRun["start_time"] = 100;
  }

  void TearDown() override {
    std::filesystem::remove_all(PLACE);
    std::filesystem::remove("/etc/orva/shares.conf");
  }

  static void write(const char* szFile, const std::string& strText) {
    OrvaTest::writeFile(std::string(PLACE) + "/a/100/" + szFile, strText);
  }

  Json::Value m_jRun;
};

}  // namespace

TEST_F(RunFiles, AreFoundWhereTheyAreKept) {
  write(SCRIPT_FILE, "exit 0\n");
  EXPECT_EQ(readAll(requireRunFile(m_jRun, SCRIPT_FILE).get(), "script"), "exit 0\n");
  std::string strLooked;
  EXPECT_FALSE(findRunFile(m_jRun, OUTPUT_FILE, strLooked));
  EXPECT_THAT(strLooked, HasSubstr("/srv/kept_files/a/100"));
}

TEST_F(RunFiles, ThatWereRemovedAreNotLookedFor) {
  m_jRun["extra"]["output_removed"] = 1'700'000'000;
  EXPECT_THAT([&] { requireRunFile(m_jRun, OUTPUT_FILE); }, ThrowsMessage<Failure>(HasSubstr("removed")));
}

TEST_F(RunFiles, AreCutBetweenCharacters) {
  // A megabyte that begins within a character.
  write(OUTPUT_FILE, "ä" + std::string((std::size_t{1} << 20) - 1, 'x'));
  const Json::Value jAnswer = runFileForPrograms(m_jRun, OUTPUT_FILE, FileFollower::ALL_LINES);
  EXPECT_TRUE(boolOf(jAnswer, "truncated"));
  EXPECT_EQ(intOf(jAnswer, "offset"), 2);
  EXPECT_EQ(textOf(jAnswer, "text").substr(0, 2), "xx");
  EXPECT_EQ(intOf(jAnswer, "size"), (1 << 20) + 1);
}

TEST_F(RunFiles, AreGivenByTheirLastLines) {
  write(OUTPUT_FILE, "one\ntwo\nthree\n");
  EXPECT_EQ(endOfRunFile(m_jRun, OUTPUT_FILE, 2).strText, "two\nthree\n");
}
