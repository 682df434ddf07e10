/// Typed values become members of a record.

#include "common/tasks/task_request.h"

#include <gmock/gmock.h>

#include "common/support/failure.h"
#include "fresh_host.h"
#include "support/files.h"
#include "support/users.h"

using namespace Host;

namespace {

std::string ownerText(const std::string& strTyped) {
  const Json::Value jOwner = ownerFrom(strTyped);
  return jOwner.begin().name() + "=" + jOwner.begin()->asString();
}

}  // namespace

TEST(TaskRequest, OwnersAreTypedByNameOrById) {
  HostTest::freshHost();
  const std::string strUsers = OrvaTest::readFile("/etc/passwd");
  OrvaTest::addUser("alice", 7001, 7001);
  EXPECT_EQ(ownerText("alice"), "7001=alice");
  EXPECT_EQ(ownerText("7001"), "7001=alice");
  EXPECT_EQ(ownerText("7777"), "7777=");
  EXPECT_EQ(ownerText("nobody-here"), "nobody-here=");
  OrvaTest::writeFile("/etc/passwd", strUsers);
}

TEST(TaskRequest, NameOfAnOwner) {
  std::string strUid;
  EXPECT_EQ(ownerName(ownerFrom("root"), strUid), "root");
  EXPECT_EQ(strUid, "0");
  EXPECT_EQ(ownerName(ownerFrom("4294967290"), strUid), "");
  EXPECT_EQ(strUid, "4294967290");
  strUid.clear();
  EXPECT_EQ(ownerName(Json::Value(7), strUid), "");
  EXPECT_EQ(strUid, "");
}

TEST(TaskRequest, BytesOfAScriptTakeItsPlace) {
  Json::Value jTask(Json::objectValue);
  jTask["operation"] = "ech\xEF\xBF\xBD\n";
  jTask["operation_base64"] = "ZWNo/wo=";
  takeScriptBytes(jTask);
  EXPECT_EQ(jTask["operation"].asString(), "ech\xFF\n");
  EXPECT_FALSE(jTask.isMember("operation_base64"));
  jTask["operation_base64"] = "?";
  EXPECT_THROW(takeScriptBytes(jTask), Failure);
  jTask["operation_base64"] = 7;
  EXPECT_THROW(takeScriptBytes(jTask), Failure);
}

TEST(TaskRequest, BlanksAroundAddressesDoNotCount) {
  EXPECT_EQ(withoutBlanks("a@b, c@d ,e"), "a@b,c@d,e");
  EXPECT_EQ(withoutBlanks("a b"), "a b");
  EXPECT_EQ(withoutBlanks(" "), "");
}
