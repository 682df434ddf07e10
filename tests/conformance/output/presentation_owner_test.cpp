// objectChangeFormatOwner: converts the owner between its uid and its name.

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

class ObjectChangeFormatOwner : public EorvaTest {
protected:
  static int addName(Json::Value& jRec) { return objectChangeFormatOwner(jRec, true); }
  static int removeName(Json::Value& jRec) { return objectChangeFormatOwner(jRec, false); }

  static Json::Value owner(const std::string& strOwner) { return json("{'owner': " + strOwner + "}"); }

  void expectNoName(int uid) {
    expectLine("cannot get user name, uid=" + std::to_string(uid) + ", using empty name", UTIL);
  }
};

}  // namespace

TEST_F(ObjectChangeFormatOwner, AddsTheNameOfTheUser) {
  addUser("alice", 1001, 1001);
  blDebugOutput = true;
  expectDebug("change owner format from[1001] to [{\"1001\":\"alice\"}]", UTIL);
  Json::Value jRec = json("{'owner': 1001, 'task_name': 'a'}");
  EXPECT_EQ(addName(jRec), 0);
  EXPECT_EQ(jRec, json("{'owner': {'1001': 'alice'}, 'task_name': 'a'}"));
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("ORVAUserGetByUID(1001)", "ORVAUserFree(alice)"));
}

TEST_F(ObjectChangeFormatOwner, AnUnknownUserHasTheEmptyName) {
  blDebugOutput = true;
  expectNoName(54321);
  expectDebug("change owner format from[54321] to [{\"54321\":\"\"}]", UTIL);
  Json::Value jRec = owner("54321");
  EXPECT_EQ(addName(jRec), 0);
  EXPECT_EQ(jRec, owner("{'54321': ''}"));
}

TEST_F(ObjectChangeFormatOwner, ALookupThatSucceedsWithoutAUserCountsAsUnknown) {
  fakes().answer("ORVAUserGetByUID", 0);
  expectNoName(0);
  Json::Value jRec = owner("0");
  EXPECT_EQ(addName(jRec), 0);
  EXPECT_EQ(jRec, owner("{'0': ''}"));
}

TEST_F(ObjectChangeFormatOwner, NarrowsTheUidAsRecordsAreRead) {
  addUser("alice", 1001, 1001);
  const std::vector<std::pair<std::string, std::string>> owners = {{"4294968297", "{'1001': 'alice'}"},
                                                                   {"1001.9", "{'1001': 'alice'}"},
                                                                   {"0", "{'0': 'root'}"},
                                                                   {"null", "{'0': 'root'}"},
                                                                   {"false", "{'0': 'root'}"}};
  for (const auto& [strStored, strShown] : owners) {
    Json::Value jRec = owner(strStored);
    EXPECT_EQ(addName(jRec), 0) << strStored;
    EXPECT_EQ(jRec, owner(strShown)) << strStored;
  }
}

TEST_F(ObjectChangeFormatOwner, ShowsANegativeUidWithItsSign) {
  expectNoName(-1);
  Json::Value jRec = owner("-1");
  EXPECT_EQ(addName(jRec), 0);
  EXPECT_EQ(jRec, owner("{'-1': ''}"));
}

TEST_F(ObjectChangeFormatOwner, FailsOnAStoredOwnerThatIsNoNumber) {
  for (const char* szOwner : {"'1001'", "{'1001': 'alice'}", "{}", "[]", "1e300", "18446744073709551615"}) {
    const Json::Value jBefore = owner(szOwner);
    Json::Value jRec = jBefore;
    expectFailure("!jRec[\"owner\"].isInt64()", UTIL);
    expectLine("err jRec=", UTIL).beginning();
    EXPECT_EQ(addName(jRec), -1) << szOwner;
    EXPECT_EQ(jRec, jBefore);
  }
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(ObjectChangeFormatOwner, TakesTheUidFromTheMembersName) {
  blDebugOutput = true;
  expectDebug("change owner format from[{\"1001\":\"alice\"}] to [1001]", UTIL);
  Json::Value jRec = json("{'owner': {'1001': 'alice'}, 'task_name': 'a'}");
  EXPECT_EQ(removeName(jRec), 0);
  EXPECT_EQ(jRec, json("{'owner': 1001, 'task_name': 'a'}"));
  EXPECT_TRUE(jRec["owner"].isInt());
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(ObjectChangeFormatOwner, IgnoresTheMembersValue) {
  for (const char* szName : {"'bob'", "''", "null", "7", "{'x': 1}"}) {
    Json::Value jRec = owner(std::string("{'1001': ") + szName + "}");
    EXPECT_EQ(removeName(jRec), 0) << szName;
    EXPECT_EQ(jRec, owner("1001"));
  }
}

TEST_F(ObjectChangeFormatOwner, ReadsTheMembersNameAsFarAsItIsANumber) {
  const std::vector<std::pair<std::string, int>> keys = {
      {"abc", 0}, {"", 0},     {"12abc", 12}, {" 7", 7},  {"-5", -5},
      {"+8", 8},  {"010", 10}, {"0x10", 0},   {"1.9", 1}, {"2147483647", 2147483647}};
  for (const auto& [strKey, iUid] : keys) {
    Json::Value jRec = owner("{'" + strKey + "': 'name'}");
    EXPECT_EQ(removeName(jRec), 0) << strKey;
    EXPECT_EQ(jRec["owner"], iUid) << strKey;
  }
}

TEST_F(ObjectChangeFormatOwner, OfTwoMembersTakesTheOneThatSortsFirstAsText) {
  const std::vector<std::pair<std::string, int>> owners = {{"{'999': 'a', '1000': 'b'}", 1000},
                                                           {"{'1000': 'b', '999': 'a'}", 1000},
                                                           {"{'2': 'x', '10': 'y', '1': 'z'}", 1},
                                                           {"{'x': 'x', '5': 'y'}", 5}};
  for (const auto& [strOwner, iUid] : owners) {
    Json::Value jRec = owner(strOwner);
    EXPECT_EQ(removeName(jRec), 0) << strOwner;
    EXPECT_EQ(jRec["owner"], iUid) << strOwner;
  }
}

TEST_F(ObjectChangeFormatOwner, FailsOnAShownOwnerThatIsNoObject) {
  for (const char* szOwner : {"1001", "'1001'", "[]", "['1001']", "null", "true"}) {
    const Json::Value jBefore = owner(szOwner);
    Json::Value jRec = jBefore;
    expectFailure("jRec[\"owner\"].type() != Json::objectValue", UTIL);
    expectLine("err jRec=" + compactJson(jBefore), UTIL);
    EXPECT_EQ(removeName(jRec), -1) << szOwner;
    EXPECT_EQ(jRec, jBefore);
  }
}

TEST_F(ObjectChangeFormatOwner, FailsOnAShownOwnerWithoutAMember) {
  Json::Value jRec = owner("{}");
  expectFailure("0 >= jmList.size()", UTIL);
  expectLine("err jRec={\"owner\":{}}", UTIL);
  EXPECT_EQ(removeName(jRec), -1);
  EXPECT_EQ(jRec, owner("{}"));
}

TEST_F(ObjectChangeFormatOwner, ARecordWithoutAnOwnerStaysAsItIs) {
  for (const bool blAddName : {true, false}) {
    Json::Value jRec = json("{'task_name': 'a', 'Owner': 1001}");
    EXPECT_EQ(objectChangeFormatOwner(jRec, blAddName), 0);
    EXPECT_EQ(jRec, json("{'task_name': 'a', 'Owner': 1001}"));
  }
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(ObjectChangeFormatOwner, AnEmptyRecordStaysAsItIs) {
  blDebugOutput = true;
  for (const bool blAddName : {true, false}) {
    for (const char* szRec : {"null", "{}", "[]"}) {
      Json::Value jRec = json(szRec);
      expectDebug("jRec is emtpy, need not change owner format", UTIL);
      EXPECT_EQ(objectChangeFormatOwner(jRec, blAddName), 0) << szRec;
      EXPECT_EQ(jRec, json(szRec));
    }
  }
}

TEST_F(ObjectChangeFormatOwner, FailsOnARecordThatIsNoObject) {
  for (const bool blAddName : {true, false}) {
    for (const char* szRec : {"[{\"owner\":1}]", "\"owner\"", "1", "true"}) {
      Json::Value jRec = json(szRec);
      expectFailure("jRec.type() != Json::objectValue", UTIL);
      expectLine(std::string("err jRec=") + szRec, UTIL);
      EXPECT_EQ(objectChangeFormatOwner(jRec, blAddName), -1) << szRec;
      EXPECT_EQ(jRec, json(szRec));
    }
  }
}

TEST_F(ObjectChangeFormatOwner, BothDirectionsAreInverse) {
  addUser("alice", 1001, 1001);
  Json::Value jRec = owner("1001");
  EXPECT_EQ(addName(jRec), 0);
  EXPECT_EQ(removeName(jRec), 0);
  EXPECT_EQ(jRec, owner("1001"));
}

TEST_F(ObjectChangeFormatOwner, EachFailingCallLeavesTheEmptyName) {
  Json::Value jRec;
  const int cCalls = failEachCall([&] { jRec = owner("0"); },
                                  [&] {
                                    EXPECT_EQ(addName(jRec), 0);
                                    EXPECT_EQ(jRec, owner(fakes().faults() > 0 ? "{'0': ''}" : "{'0': 'root'}"));
                                  });
  EXPECT_EQ(cCalls, 1);
  forgetLog();
}
