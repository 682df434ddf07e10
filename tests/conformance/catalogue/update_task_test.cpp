// recUpdate: changes or renames a task.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RecUpdate : public CatalogueTest {
protected:
  int update(const Json::Value& jRequest) {
    m_jIn = jRequest;
    return recUpdate(m_pApi, m_jIn, m_pDb);
  }

  void expectNoTransaction() const {
    EXPECT_NE(sqlite3_get_autocommit(m_pDb), 0);
    EXPECT_THAT(fakes().systemCalls(), IsEmpty());
  }

  Json::Value m_jIn;
};

}  // namespace

TEST_F(RecUpdate, ChangesTheMembersOfTheRequestAndKeepsTheOthers) {
  fakes().put("task", json("{'task_name': 'a', 'event': 'bootup', 'operation': 'old', 'depend_on_task': '[b]'}"));
  putTask("c", "[a]");
  EXPECT_EQ(update(json("{'task_name': 'a', 'operation': 'new', 'depend_on_task': ''}")), 0);
  EXPECT_EQ(fakes().record("task", "a"),
            json("{'task_name': 'a', 'event': 'bootup', 'operation': 'new', 'depend_on_task': ''}"));
  EXPECT_EQ(listOf("c"), "[a]");
}

TEST_F(RecUpdate, PlainChangeWritesThatTaskOnlyWithoutATransactionOrAnEvent) {
  putTask("a");
  putTask("b", "[a]");
  const Json::Value jRequest = json("{'task_name': 'a', 'operation': 'true', 'unknown': 1}");
  EXPECT_EQ(update(jRequest), 0);
  EXPECT_THAT(fakes().calls(),
              ElementsAre("recList(task, {\"task_name\":\"a\"})",
                          "recUpdateByFilter(task, {\"task_name\":\"a\"}, " + compactJson(jRequest) + ")"));
  EXPECT_EQ(m_jIn, jRequest);
  expectNoTransaction();
}

TEST_F(RecUpdate, NewNameWithoutTheOldOneIsAnotherTask) {
  putTask("a");
  EXPECT_EQ(update(json("{'task_name': 'b', 'operation': 'true'}")), 0);
  EXPECT_EQ(fakes().records("task").size(), 1U);
  EXPECT_FALSE(fakes().record("task", "a").isMember("operation"));
}

TEST_F(RecUpdate, UnknownTaskIsIgnoredAndNothingIsCreated) {
  blDebugOutput = true;
  expectDebug("nothing to be save, ignore", LIB);
  EXPECT_EQ(update(request("a")), 0);
  expectDebug("nothing to be save, ignore", LIB);
  EXPECT_EQ(update(json("{'task_name': 'b', 'old_task_name': 'a'}")), 0);
  EXPECT_EQ(m_jIn, json("{'task_name': 'b', 'old_task_name': 'a'}"));
  EXPECT_THAT(fakes().records("task"), IsEmpty());
  EXPECT_THAT(fakes().calls(), testing::Each(testing::StartsWith("recList(")));
  expectNoTransaction();
}

TEST_F(RecUpdate, SaysNothingOfAnUnknownTaskUnlessDebugging) {
  EXPECT_EQ(update(request("a")), 0);
}

TEST_F(RecUpdate, NullFromTheStoreIsAnUnknownTaskToo) {
  blDebugOutput = true;
  fakes().answer("recList", 0, Json::Value());
  expectDebug("nothing to be save, ignore", LIB);
  EXPECT_EQ(update(request("a")), 0);
}

TEST_F(RecUpdate, OldNameGivesTheTaskItsNewOneInAllListsAndLogsTheEvent) {
  putTask("B", "[Z]");
  putTask("C", "[A][B][D]");
  EXPECT_EQ(update(json("{'task_name': 'X', 'old_task_name': 'B', 'operation': 'true'}")), 0);
  EXPECT_EQ(fakes().record("task", "X")["operation"], "true");
  EXPECT_EQ(fakes().record("task", "X")["depend_on_task"], "[Z]");
  EXPECT_TRUE(fakes().record("task", "B").isNull());
  EXPECT_EQ(listOf("C"), "[A][X][D]");
  EXPECT_EQ(m_jIn, json("{'task_name': 'X', 'operation': 'true'}"));
  EXPECT_THAT(fakes().events(), ElementsAre("ORVALogSet1(1, 1, 0x14400006, B, X, , )"));
  EXPECT_NE(sqlite3_get_autocommit(m_pDb), 0);
}

TEST_F(RecUpdate, ArgumentsAreCheckedInTheirOrder) {
  Json::Value jWrong(Json::arrayValue);
  Json::Value jNoName = json("{'old_task_name': 'a'}");
  expectFailure("!pApi", LIB);
  EXPECT_EQ(recUpdate(nullptr, jWrong, nullptr), -1);
  expectFailure("!pDb", LIB);
  EXPECT_EQ(recUpdate(m_pApi, jWrong, nullptr), -1);
  expectFailure("jIn.type() != Json::objectValue", LIB);
  EXPECT_EQ(recUpdate(m_pApi, jWrong, m_pDb), -1);
  expectFailure("!jIn.isMember(\"task_name\")", LIB);
  EXPECT_EQ(recUpdate(m_pApi, jNoName, m_pDb), -1);
  EXPECT_THAT(fakes().calls(), IsEmpty());
}

TEST_F(RecUpdate, RequestMustBeAnObject) {
  for (const char* szRequest : {"null", "[]", "['task_name']", "'task_name'", "5"}) {
    expectFailure("jIn.type() != Json::objectValue", LIB);
    EXPECT_EQ(update(json(szRequest)), -1) << szRequest;
  }
}

TEST_F(RecUpdate, NamesWithoutATextFail) {
  for (const char* szName : {"[]", "{}", "['a']"}) {
    putTask("a");
    Json::Value jRequest = request("b");
    jRequest["old_task_name"] = json(szName);
    expectFailure("!jIn[\"old_task_name\"].isString()", LIB);
    EXPECT_EQ(update(jRequest), -1);
    jRequest["old_task_name"] = "a";
    jRequest["task_name"] = json(szName);
    expectFailure("!jIn[\"task_name\"].isString()", LIB);
    EXPECT_EQ(update(jRequest), -1);
    EXPECT_EQ(m_jIn, jRequest);
  }
  EXPECT_THAT(fakes().calls(), IsEmpty());
}

TEST_F(RecUpdate, FailsWhenTheTaskCannotBeLookedUp) {
  fakes().fail("recList");
  expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
  EXPECT_EQ(update(request("a")), -1);
}

TEST_F(RecUpdate, FailsWhenTheTaskCannotBeWritten) {
  putTask("a");
  fakes().fail("recUpdateByFilter");
  expectFailure("0 > pApi->recUpdateByFilter(jFilter, jIn)", LIB);
  EXPECT_EQ(update(request("a")), -1);
}

TEST_F(RecUpdate, ChangedRowsDoNotShowInTheResult) {
  putTask("a");
  fakes().answer("recUpdateByFilter", 17);
  EXPECT_EQ(update(request("a")), 0);
}

TEST_F(RecUpdate, FailedChangeOfNameEndsWithItsOwnLineAndNoEvent) {
  putTask("a");
  putTask("taken");
  expectFailure("0 > pApi->recUpdateByFilter(jFilter, jIn)", LIB);
  expectFailure("0 > recUpdateSubtree(pApi, jIn, pDb, 1)", LIB);
  EXPECT_EQ(update(json("{'task_name': 'taken', 'old_task_name': 'a'}")), -1);
  EXPECT_THAT(fakes().events(), IsEmpty());
  EXPECT_EQ(m_jIn, json("{'task_name': 'taken'}"));
  EXPECT_FALSE(fakes().record("task", "a").isNull());
}

TEST_F(RecUpdate, NewNameThatIsEmptyFailsBeforeTheTransaction) {
  putTask("a");
  expectFailure("jIn[\"task_name\"].asString().empty()", LIB);
  expectFailure("0 > recUpdateSubtree(pApi, jIn, pDb, 1)", LIB);
  EXPECT_EQ(update(json("{'task_name': '', 'old_task_name': 'a'}")), -1);
  expectNoTransaction();
}

TEST_F(RecUpdate, OldNameThatIsEmptyIsATaskThatDoesNotExist) {
  putTask("a");
  for (const char* szOld : {"''", "null"}) {
    Json::Value jRequest = request("a");
    jRequest["old_task_name"] = json(szOld);
    EXPECT_EQ(update(jRequest), 0);
    EXPECT_THAT(fakes().calls(), testing::Each(testing::StartsWith("recList(")));
  }
}

TEST_F(RecUpdate, EachFailingCallOfAPlainChangeIsAFailure) {
  const int cCalls = failEachCall([] { putTask("a"); },
                                  [this] {
                                    const int iResult = update(request("a"));
                                    EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
                                    EXPECT_NE(sqlite3_get_autocommit(m_pDb), 0);
                                  });
  EXPECT_EQ(cCalls, 2);
}

TEST_F(RecUpdate, EachFailingCallOfAChangeOfNameIsAFailureButThatOfTheEvent) {
  const int cCalls = failEachCall(
      [] {
        putTask("B");
        putTask("C", "[B]");
        putTask("D", "[C]");
      },
      [this] {
        const int iResult = update(json("{'task_name': 'X', 'old_task_name': 'B'}"));
        EXPECT_EQ(iResult, fakes().faults() > 0 && fakes().events().empty() ? -1 : 0);
        rollBack();
      });
  EXPECT_GE(cCalls, 10);
}
