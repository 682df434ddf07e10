#include "common/text/amounts.h"

#include <gtest/gtest.h>

using namespace Host;

TEST(Amounts, DurationsHaveTwoUnitsAtMost) {
  EXPECT_EQ(durationText(0), "0 s");
  EXPECT_EQ(durationText(59), "59 s");
  EXPECT_EQ(durationText(192), "3 min 12 s");
  EXPECT_EQ(durationText(7500), "2 h 05 min");
  EXPECT_EQ(durationText(90'000), "1 d 01 h");
}

TEST(Amounts, CpuTimesBelowAMinuteHaveFractions) {
  EXPECT_EQ(cpuTimeText(0), "0 ms");
  EXPECT_EQ(cpuTimeText(999'999), "999 ms");
  EXPECT_EQ(cpuTimeText(1'990'000), "1.9 s");
  EXPECT_EQ(cpuTimeText(59'999'999), "59.9 s");
  EXPECT_EQ(cpuTimeText(192'000'000), "3 min 12 s");
}

TEST(Amounts, SizesCountIn1024) {
  EXPECT_EQ(sizeText(1023), "1023 B");
  EXPECT_EQ(sizeText(1536), "1.5 KiB");
  EXPECT_EQ(sizeText(std::uint64_t{3} << 30), "3.0 GiB");
  EXPECT_EQ(sizeText(std::uint64_t{1} << 60), "1048576.0 TiB");
}

TEST(Amounts, OneThingHasNoPlural) {
  EXPECT_EQ(countText(0, "run"), "0 runs");
  EXPECT_EQ(countText(1, "run"), "1 run");
  EXPECT_EQ(countText(2, "run"), "2 runs");
}

TEST(Amounts, ThereIsNoTimeZero) {
  EXPECT_EQ(timeText(0), "-");
  EXPECT_EQ(timeText(1'700'000'000).substr(0, 7), "2023-11");
}
