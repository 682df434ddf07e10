#include "support/users.h"

#include <pwd.h>

#include "orva_platform.h"

#include "platform_fixture.h"
#include "support/files.h"

using OrvaTest::PlatformTest;

namespace {

class Users : public PlatformTest {};

TEST_F(Users, RootIsFoundWithItsMembers) {
  PORVAUSER pUser = nullptr;
  errno = 7;
  ASSERT_EQ(ORVAUserGetByUID(0, &pUser), 0);
  EXPECT_EQ(errno, 7) << "a success must not change errno";
  EXPECT_STREQ(pUser->szName, "root");
  EXPECT_STREQ(*reinterpret_cast<char**>(pUser), "root") << "the name is the first member";
  EXPECT_EQ(pUser->pw_uid, 0U);
  EXPECT_EQ(pUser->pw_gid, 0U);
  EXPECT_STREQ(pUser->szHome, "/root");
  ORVAUserFree(pUser);
}

TEST_F(Users, UserWithItsOwnGroupAndHomeIsFound) {
  OrvaTest::addUser("alice", 4711, 4712, {}, "/tmp/home/alice");
  PORVAUSER pUser = nullptr;
  ASSERT_EQ(ORVAUserGetByUID(4711, &pUser), 0);
  EXPECT_STREQ(pUser->szName, "alice");
  EXPECT_EQ(pUser->pw_uid, 4711U);
  EXPECT_EQ(pUser->pw_gid, 4712U);
  EXPECT_STREQ(pUser->szHome, "/tmp/home/alice");
  ORVAUserFree(pUser);
}

TEST_F(Users, UnknownUidLeavesNullAndSaysNoEntry) {
  for (const uid_t uid : {uid_t{54321}, static_cast<uid_t>(-1), static_cast<uid_t>(-2), uid_t{1} << 31}) {
    PORVAUSER pUser = reinterpret_cast<PORVAUSER>(&errno);
    EXPECT_LT(ORVAUserGetByUID(uid, &pUser), 0) << uid;
    EXPECT_EQ(pUser, nullptr);
    EXPECT_EQ(KLIBCErrGet(), ENOENT);
    EXPECT_STREQ(KLIBCErrorGetFile(), "user.cpp");
    EXPECT_GT(KLIBCErrorGetLine(), 0);
  }
}

TEST_F(Users, RecordThatNeedsALargeBufferIsFoundWhole) {
  const std::string strHome = "/" + std::string(200000, 'h');
  std::string strPasswd = OrvaTest::readFile("/etc/passwd");
  OrvaTest::writeFile("/etc/passwd", strPasswd + "long:x:4713:4713::" + strHome + ":/bin/sh\n");
  PORVAUSER pUser = nullptr;
  ASSERT_EQ(ORVAUserGetByUID(4713, &pUser), 0);
  EXPECT_EQ(pUser->szHome, strHome);
  EXPECT_STREQ(pUser->szShell, "/bin/sh");
  ORVAUserFree(pUser);
  OrvaTest::writeFile("/etc/passwd", strPasswd);
}

TEST_F(Users, NullPlaceForTheRecordIsRefusedAndNullIsFreed) {
  EXPECT_LT(ORVAUserGetByUID(0, nullptr), 0);
  EXPECT_EQ(KLIBCErrGet(), EINVAL);
  ORVAUserFree(nullptr);
}

}  // namespace
