/// The limit for output is divided among those who need more than their part.

#include "common/output/owner_part.h"

#include <gtest/gtest.h>
#include <limits>

using namespace Host;

namespace {

constexpr std::uint64_t ALL = std::numeric_limits<std::uint64_t>::max();

}  // namespace

TEST(OwnerPart, KeepsEverythingThatFits) {
  EXPECT_EQ(partOfOwner({}, 0), ALL);
  EXPECT_EQ(partOfOwner({10}, 10), ALL);
  EXPECT_EQ(partOfOwner({3, 4, 3}, 10), ALL);
}

TEST(OwnerPart, WhoNeedsLessLeavesTheRestToTheOthers) {
  EXPECT_EQ(partOfOwner({11}, 10), 10U);
  EXPECT_EQ(partOfOwner({80, 2, 1}, 10), 7U);
  EXPECT_EQ(partOfOwner({80, 90, 2}, 10), 4U);
  EXPECT_EQ(partOfOwner({80, 90, 70}, 10), 3U);
}
