/// Durations as people type and read them.

#include "common/text/duration.h"

#include <gtest/gtest.h>

using namespace Host;

TEST(Duration, EveryFormIsRead) {
  const std::pair<const char*, std::time_t> forms[] = {{"0", 0},
                                                       {"90", 90},
                                                       {"30s", 30},
                                                       {"5m", 300},
                                                       {"5min", 300},
                                                       {"1h", 3600},
                                                       {"1d", 86400},
                                                       {"1w", 604800},
                                                       {"2h30m", 9000},
                                                       {"1d 12h", 129600},
                                                       {"2 hours 1 s", 7201},
                                                       {"1h1h", 7200},
                                                       {"007s", 7},
                                                       {"100000000000", 100'000'000'000}};
  for (const auto& [szText, cSeconds] : forms) {
    EXPECT_EQ(durationFrom(szText).value_or(-1), cSeconds) << szText;
  }
}

TEST(Duration, EverythingElseIsRefused) {
  for (const char* szText : {"",
                             " ",
                             "h",
                             "-1",
                             "-1h",
                             "+1h",
                             "1.5h",
                             "1y",
                             "1H",
                             "1h ago",
                             "1h,",
                             "1hm",
                             "0x10",
                             "1h 5",
                             "10m30",
                             "100000000001",
                             "100000000000m",
                             "99999999999s 99999999999s",
                             "18446744073709551615",
                             "99999999999999999999s"}) {
    EXPECT_FALSE(durationFrom(szText)) << szText;
  }
}

TEST(Duration, TheFormsOfTheMessageAreRead) {
  for (const char* szText : {"30s", "5m", "2h30m", "1d"}) {
    EXPECT_NE(std::string(DURATION_FORMS).find(szText), std::string::npos) << szText;
    EXPECT_EQ(durationText(durationFrom(szText).value_or(-1)), szText);
  }
}

TEST(Duration, TextsCanBeTypedAgain) {
  EXPECT_EQ(durationText(0), "0s");
  EXPECT_EQ(durationText(59), "59s");
  EXPECT_EQ(durationText(604'800), "7d");
  EXPECT_EQ(durationText(90'061), "1d1h1m1s");
  for (const Json::Int64 iSeconds : {1, 60, 61, 3600, 3601, 86'399, 86'400, 90'061, 2'147'483'647}) {
    EXPECT_EQ(durationFrom(durationText(iSeconds)), iSeconds);
  }
}

TEST(Duration, ElapsedTimesHaveTwoUnitsAtMost) {
  EXPECT_EQ(elapsedText(0), "0s");
  EXPECT_EQ(elapsedText(192), "3m12s");
  EXPECT_EQ(elapsedText(7519), "2h5m");
  EXPECT_EQ(elapsedText(93'599), "1d1h");
}

TEST(Duration, CpuTimesBelowAMinuteHaveFractions) {
  EXPECT_EQ(cpuTimeText(0), "0ms");
  EXPECT_EQ(cpuTimeText(999'999), "999ms");
  EXPECT_EQ(cpuTimeText(1'990'000), "1.9s");
  EXPECT_EQ(cpuTimeText(59'999'999), "59.9s");
  EXPECT_EQ(cpuTimeText(192'000'000), "3m12s");
}
