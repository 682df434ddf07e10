/// Users by name or id, as people type them.

#include "common/server/users.h"

#include <gtest/gtest.h>

using namespace Host;

TEST(Users, NamesComeBeforeNumbers) {
  EXPECT_EQ(uid_t{0}, findUser("root"));
  EXPECT_EQ(uid_t{4711}, findUser("4711")) << "a number need not be that of a user";
  EXPECT_EQ("root", userName(0));
}

TEST(Users, OtherTextsAreNotFound) {
  for (const char* szUser : {"", "no such user", "-1", "12x", "01000", "4294967296"}) {
    EXPECT_EQ(std::nullopt, findUser(szUser)) << szUser;
  }
}
