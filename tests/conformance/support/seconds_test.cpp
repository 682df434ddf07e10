// Points in time in a signed 32-bit count.

#include "support/seconds.h"

#include "fakes/eorva_test.h"

TEST(Seconds, AreNarrowedToASigned32BitCount) {
  const std::pair<std::int64_t, long> CASES[] = {
      {0, 0},           {-1, -1},        {1767225600, 1767225600}, {2147483647, 2147483647}, {2147483648, -2147483648L},
      {4294967295, -1}, {4294967296, 0}, {-2147483649, 2147483647}};
  for (const auto& [iTime, lSeconds] : CASES) {
    EXPECT_EQ(Orva::toSeconds(iTime), lSeconds) << iTime;
  }
}

TEST(Seconds, AreIntegersInRecords) {
  EXPECT_EQ(Orva::jsonSeconds(1767225600).type(), Json::intValue);
  EXPECT_EQ(OrvaTest::compactJson(Orva::jsonSeconds(-5)), "-5");
}
