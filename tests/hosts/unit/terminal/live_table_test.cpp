#include "cli/terminal/live_table.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "common/text/display_width.h"

namespace {

using testing::ElementsAre;
using Rank = LiveRow::Rank;

LiveRow row(const std::string& strTask, Rank rank = Rank::WAITING) {
  return {rank, strTask, "alice", "2026-11-21 10:20:30", "3 s", "running"};
}

TEST(DisplayWidth, CountsColumnsAndNotBytes) {
  EXPECT_EQ(Host::displayWidth("plain"), 5U);
  EXPECT_EQ(Host::displayWidth("Müll"), 4U);
  EXPECT_EQ(Host::displayWidth("e\u0301"), 1U);
  EXPECT_EQ(Host::displayWidth("日本"), 4U);
  EXPECT_EQ(Host::displayWidth("\xFF"), 1U);
}

TEST(DisplayWidth, CutsBetweenCharacters) {
  EXPECT_EQ(Host::cutToWidth("äöüß", 4), "äöüß");
  EXPECT_EQ(Host::cutToWidth("äöüß", 3), "äö~");
  EXPECT_EQ(Host::cutToWidth("日本語", 5), "日本~");
  EXPECT_EQ(Host::cutToWidth("日本語", 4), "日~");
  EXPECT_EQ(Host::cutToWidth("e\u0301e\u0301e\u0301", 2), "e\u0301~");
  EXPECT_EQ(Host::cutToWidth("abc", 1), "~");
  EXPECT_EQ(Host::cutToWidth("abc", 0), "");
}

TEST(LiveTable, TableThatFitsIsShownUnchanged) {
  EXPECT_THAT(
      drawLiveTable({row("one"), row("longer")}, 80, 3),
      ElementsAre("TASK   OWNER SINCE               TIME STATE", "one    alice 2026-11-21 10:20:30  3 s running",
                  "longer alice 2026-11-21 10:20:30  3 s running"));
}

TEST(LiveTable, TheDayGivesWayFirst) {
  EXPECT_THAT(drawLiveTable({row("ten-letter")}, 40, 0),
              ElementsAre("TASK       OWNER SINCE    TIME STATE", "ten-letter alice 10:20:30  3 s running"));
}

TEST(LiveTable, NoLineIsWiderThanTheTerminal) {
  const std::vector<LiveRow> vecRows = {row("日本語日本語日本語"), row("äöüßäöüßäöüß-and-a-long-name-besides"),
                                        row("x")};
  for (std::size_t cColumns = 1; cColumns < 70; ++cColumns) {
    for (const std::string& strLine : drawLiveTable(vecRows, cColumns, 0)) {
      EXPECT_LE(Host::displayWidth(strLine), cColumns) << strLine;
    }
  }
}

TEST(LiveTable, ThereAreNoMoreLinesThanThereIsRoomFor) {
  const std::vector<LiveRow> vecRows(25, row("one"));
  for (std::size_t cLines = 1; cLines < 40; ++cLines) {
    EXPECT_EQ(drawLiveTable(vecRows, 80, cLines).size(), cLines == 2 ? 1 : std::min<std::size_t>(cLines, 26));
  }
  EXPECT_EQ(drawLiveTable(vecRows, 80, 0).size(), 26U);
}

TEST(LiveTable, RunningAndFailedTasksAreShownFirst) {
  const std::vector<LiveRow> vecRows = {row("done", Rank::DONE), row("failed", Rank::FAILED),
                                        row("running", Rank::RUNNING), row("waiting")};
  const auto taskOf = [](const std::string& strLine) { return strLine.substr(0, strLine.find(' ')); };
  const auto tasksOf = [&](std::size_t cLines) {
    std::vector<std::string> vecTasks;
    for (const std::string& strLine : drawLiveTable(vecRows, 80, cLines)) {
      vecTasks.push_back(taskOf(strLine));
    }
    return vecTasks;
  };
  EXPECT_THAT(tasksOf(5), ElementsAre("TASK", "done", "failed", "running", "waiting"));
  EXPECT_THAT(tasksOf(4), ElementsAre("TASK", "running", "failed", "..."));
  EXPECT_EQ(drawLiveTable(vecRows, 80, 4).back(), "... and 2 more");
  EXPECT_EQ(drawLiveTable(vecRows, 80, 1), std::vector<std::string>{"... and 4 more"});
}

TEST(LiveTable, ColourTakesNoRoom) {
  LiveRow colored = row("one");
  colored.szColor = "\033[32m";
  EXPECT_EQ(drawLiveTable({colored}, 80, 0).back(), "one  alice 2026-11-21 10:20:30  3 s \033[32mrunning\033[0m");
  EXPECT_EQ(drawLiveTable({colored}, 32, 0).back(), "one  alice 10:20:30  3 s \033[32mrunning\033[0m");
  EXPECT_EQ(drawLiveTable({colored}, 29, 0).back(), "one  alice 10:20~  3 s \033[32mrunni~\033[0m");
}

}  // namespace
