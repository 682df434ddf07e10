// recDelete: deletes a task and writes an event log entry.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RecDelete : public CatalogueTest {
protected:
  int remove(const Json::Value& jRequest) {
    m_jIn = jRequest;
    return recDelete(m_pApi, m_jIn, m_pDb);
  }

  Json::Value m_jIn;
};

}  // namespace

TEST_F(RecDelete, DeletesTheTaskAndItsEntriesAndLogsTheEvent) {
  putTask("A");
  putTask("B");
  putTask("C", "[A][B][D]");
  EXPECT_EQ(remove(request("B")), 0);
  EXPECT_TRUE(fakes().record("task", "B").isNull());
  EXPECT_EQ(listOf("C"), "[A][D]");
  EXPECT_THAT(fakes().events(), ElementsAre("ORVALogSet1(1, 1, 0x14400005, B, , , )"));
  EXPECT_EQ(m_jIn, request("B"));
}

TEST_F(RecDelete, LooksForTheRowWithoutInsistingOnIt) {
  EXPECT_EQ(remove(json("{'task_name': 'a', 'more': 1}")), 0);
  EXPECT_EQ(fakes().calls().at(0), "recDelete(task, {\"more\":1,\"task_name\":\"a\"}, false)");
}

TEST_F(RecDelete, NameThatDoesNotExistStillLeavesTheListsThatNameIt) {
  putTask("C", "[gone][D]");
  EXPECT_EQ(remove(request("gone")), 0);
  EXPECT_EQ(listOf("C"), "[D]");
  EXPECT_THAT(fakes().events(), ElementsAre("ORVALogSet1(1, 1, 0x14400005, gone, , , )"));
}

TEST_F(RecDelete, StoreThatRefusesAMissingRowFails) {
  putTask("C", "[gone]");
  fakes().answer("recDelete", -2);
  expectFailure("0 > pApi->recDelete(jIn, false)", LIB);
  EXPECT_EQ(remove(request("gone")), -1);
  EXPECT_EQ(listOf("C"), "[gone]");
  EXPECT_THAT(fakes().events(), IsEmpty());
}

TEST_F(RecDelete, NewNameOfTheRequestIsNotLookedAt) {
  putTask("a");
  putTask("b");
  EXPECT_EQ(remove(json("{'task_name': 'a', 'old_task_name': 'b'}")), 0);
  EXPECT_TRUE(fakes().record("task", "a").isNull());
  EXPECT_FALSE(fakes().record("task", "b").isNull());
  EXPECT_EQ(m_jIn["old_task_name"], "b");
}

TEST_F(RecDelete, BadRequestFailsWithTheLineOfTheCheckAlone) {
  const std::pair<std::string, std::string> CASES[] = {{"[]", "jIn.type() != Json::objectValue"},
                                                       {"null", "jIn.type() != Json::objectValue"},
                                                       {"{}", "!jIn.isMember(\"task_name\")"},
                                                       {"{'task_name': ''}", "jIn[\"task_name\"].asString().empty()"},
                                                       {"{'task_name': null}", "jIn[\"task_name\"].asString().empty()"},
                                                       {"{'task_name': []}", "!jIn[\"task_name\"].isString()"}};
  for (const auto& [strRequest, strCheck] : CASES) {
    expectFailure(strCheck, LIB);
    EXPECT_EQ(remove(json(strRequest)), -1) << strRequest;
  }
  EXPECT_THAT(fakes().allCalls(), IsEmpty());
}

TEST_F(RecDelete, FailsWithoutHandles) {
  Json::Value jIn = request("a");
  expectFailure("!pApi", LIB);
  EXPECT_EQ(recDelete(nullptr, jIn, nullptr), -1);
  expectFailure("!pDb", LIB);
  EXPECT_EQ(recDelete(m_pApi, jIn, nullptr), -1);
  EXPECT_THAT(fakes().allCalls(), IsEmpty());
}

TEST_F(RecDelete, EachFailingCallIsAFailureButThatOfTheEvent) {
  const int cCalls = failEachCall(
      [] {
        putTask("B");
        putTask("C", "[B]");
        putTask("D", "[C]");
      },
      [this] {
        const int iResult = remove(request("B"));
        EXPECT_EQ(iResult, fakes().faults() > 0 && fakes().events().empty() ? -1 : 0);
        rollBack();
      });
  EXPECT_GE(cCalls, 9);
}
