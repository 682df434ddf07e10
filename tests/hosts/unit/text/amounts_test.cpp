#include "common/text/amounts.h"

#include <gtest/gtest.h>

using namespace Host;

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
