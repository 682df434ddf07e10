// recUpdateSubtree: checks of the request, and the transaction around the change.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string BEGIN_CHECK = "SQLITE_OK != sqlite3_exec(pDb, \"BEGIN;\", NULL, NULL, &szErrMsg)";
const std::string COMMIT_CHECK = "SQLITE_OK != sqlite3_exec(pDb, \"COMMIT;\", NULL, NULL, &szErrMsg)";
const std::string REQUESTS[] = {"{'task_name': 'B'}", "{'task_name': 'X', 'old_task_name': 'B'}"};  // by kind

class SubtreeTransaction : public CatalogueTest {
protected:
  void SetUp() override {
    putTask("B");
    putTask("C", "[B]");
  }

  int change(const std::string& strRequest, int iType) {
    m_jIn = json(strRequest);
    return recUpdateSubtree(m_pApi, m_jIn, m_pDb, iType);
  }

  void expectNotBegun() const {
    EXPECT_THAT(fakes().allCalls(), IsEmpty());
    EXPECT_NE(sqlite3_get_autocommit(m_pDb), 0);
  }

  // Neither committed nor rolled back; the test rolls back.
  void expectLeftOpen() {
    EXPECT_EQ(sqlite3_get_autocommit(m_pDb), 0);
    rollBack();
    EXPECT_THAT(fakes().systemCalls(), testing::Not(testing::Contains("sqlite3_exec(COMMIT;)")));
    EXPECT_THAT(fakes().systemCalls(), testing::Not(testing::Contains("sqlite3_exec(ROLLBACK;)")));
  }

  Json::Value m_jIn;
};

}  // namespace

TEST_F(SubtreeTransaction, ArgumentsAreCheckedInTheirOrderBeforeItBegins) {
  const auto refused = [&](OrvaJsonDbApi* pApi, sqlite3* pDb, const std::string& strRequest) {
    m_jIn = json(strRequest);
    EXPECT_EQ(recUpdateSubtree(pApi, m_jIn, pDb, 7), -1) << strRequest;
    EXPECT_EQ(m_jIn, json(strRequest));
  };
  expectFailure("!pApi", LIB);
  refused(nullptr, nullptr, "[]");
  expectFailure("!pDb", LIB);
  refused(m_pApi, nullptr, "[]");
  expectFailure("jIn.type() != Json::objectValue", LIB);
  refused(m_pApi, m_pDb, "[]");
  expectFailure("!jIn.isMember(\"task_name\")", LIB);
  refused(m_pApi, m_pDb, "{'old_task_name': 'a'}");
  expectFailure("jIn[\"task_name\"].asString().empty()", LIB);
  refused(m_pApi, m_pDb, "{'task_name': ''}");
  expectFailure("iType < 0 || iType > 1", LIB);
  refused(m_pApi, m_pDb, "{'task_name': 'a'}");
  expectNotBegun();
}

TEST_F(SubtreeTransaction, OtherKindsFailBeforeItBegins) {
  for (const int iType : {-2147483647, -1, 2, 3}) {
    expectFailure("iType < 0 || iType > 1", LIB);
    EXPECT_EQ(change(REQUESTS[1], iType), -1) << iType;
  }
  expectNotBegun();
}

TEST_F(SubtreeTransaction, RenameWithoutAnOldNameFailsBeforeItBegins) {
  const std::pair<std::string, std::string> CASES[] = {
      {"{'task_name': 'X'}", "!jIn.isMember(\"old_task_name\")"},
      {"{'task_name': 'X', 'old_task_name': ''}", "jIn[\"old_task_name\"].asString().empty()"},
      {"{'task_name': 'X', 'old_task_name': null}", "jIn[\"old_task_name\"].asString().empty()"},
      {"{'task_name': 'X', 'old_task_name': ['B']}", "!jIn[\"old_task_name\"].isString()"}};
  for (const auto& [strRequest, strCheck] : CASES) {
    expectFailure(strCheck, LIB);
    EXPECT_EQ(change(strRequest, SUBTREE_RENAME), -1) << strRequest;
    EXPECT_EQ(m_jIn, json(strRequest));
  }
  expectNotBegun();
}

TEST_F(SubtreeTransaction, DeletionComesBeforeTheDependantsAreLookedFor) {
  EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), 0);
  std::vector<std::string> calls;
  for (const Call& call : fakes().allCalls()) {
    calls.push_back(call.strText.substr(0, call.strText.find_first_of("(,")));
  }
  EXPECT_THAT(calls, ElementsAre("sqlite3_exec", "recDelete", "sqlite3_mprintf", "recList", "sqlite3_mprintf",
                                 "recList", "recUpdateByFilter", "sqlite3_exec"));
  EXPECT_THAT(listings(), ElementsAre(byText("depend_on_task like '%[B]%'"), byText("depend_on_task like '%[C]%'")));
}

TEST_F(SubtreeTransaction, RenameComesBeforeTheDependantsOfTheOldNameAreLookedFor) {
  EXPECT_EQ(change(REQUESTS[1], SUBTREE_RENAME), 0);
  EXPECT_EQ(fakes().calls().at(0), "recUpdateByFilter(task, {\"task_name\":\"B\"}, {\"task_name\":\"X\"})");
  EXPECT_THAT(listings(), ElementsAre(byText("depend_on_task like '%[B]%'"), byText("depend_on_task like '%[C]%'")));
}

TEST_F(SubtreeTransaction, IsBegunFirstAndCommittedLast) {
  for (const int iType : {SUBTREE_RENAME, SUBTREE_DELETE}) {
    fakes().forgetCalls();
    EXPECT_EQ(change(REQUESTS[iType], iType), 0);
    EXPECT_EQ(fakes().allCalls().front().strText, "sqlite3_exec(BEGIN;)");
    EXPECT_EQ(fakes().allCalls().back().strText, "sqlite3_exec(COMMIT;)");
    EXPECT_NE(sqlite3_get_autocommit(m_pDb), 0);
  }
}

TEST_F(SubtreeTransaction, ThatCannotBeBegunChangesNothing) {
  for (const int iType : {SUBTREE_DELETE, SUBTREE_RENAME}) {
    fakes().fail("sqlite3_exec(BEGIN;");
    expectFailure(BEGIN_CHECK, LIB);
    expectLine("szErrMsg=injected", LIB);
    EXPECT_EQ(change(REQUESTS[iType], iType), -1);
  }
  EXPECT_THAT(fakes().calls(), IsEmpty());
  EXPECT_FALSE(m_jIn.isMember("old_task_name"));
}

TEST_F(SubtreeTransaction, DoesNotBeginWithinAnother) {
  ASSERT_EQ(sqlite3_exec(m_pDb, "BEGIN", nullptr, nullptr, nullptr), SQLITE_OK);
  expectFailure(BEGIN_CHECK, LIB);
  expectLine("szErrMsg=cannot start a transaction within a transaction", LIB);
  EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), -1);
  expectLeftOpen();
  EXPECT_FALSE(fakes().record("task", "B").isNull());
}

TEST_F(SubtreeTransaction, StaysOpenWhenTheTaskCannotBeChanged) {
  fakes().fail("recDelete");
  expectFailure("0 > pApi->recDelete(jIn, false)", LIB);
  EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), -1);
  expectLeftOpen();
  fakes().fail("recUpdateByFilter");
  expectFailure("0 > pApi->recUpdateByFilter(jFilter, jIn)", LIB);
  EXPECT_EQ(change(REQUESTS[1], SUBTREE_RENAME), -1);
  expectLeftOpen();
}

TEST_F(SubtreeTransaction, StaysOpenWhenTheDependantsCannotBeFound) {
  const std::string CHECKS[] = {"0 > recListRelateEx(pApi, jIn, jOutArray, pDb, false, string(\"\"), true)",
                                "0 > recListRelateEx(pApi, jFilter, jOutArray, pDb, false, string(\"\"), true)"};
  for (const int iType : {SUBTREE_RENAME, SUBTREE_DELETE}) {
    fakes().fail("recList");
    expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
    expectFailure(CHECKS[iType], LIB);
    EXPECT_EQ(change(REQUESTS[iType], iType), -1);
    expectLeftOpen();
    fakes().clearFaults();
  }
}

TEST_F(SubtreeTransaction, NameThatIsNoStringFailsInTheSearchForDependants) {
  expectFailure("!jRecParam[\"task_name\"].isString()", LIB);
  expectFailure("0 > recListRelateEx(pApi, jIn, jOutArray, pDb, false, string(\"\"), true)", LIB);
  EXPECT_EQ(change("{'task_name': 17}", SUBTREE_DELETE), -1);
  expectLeftOpen();
}

TEST_F(SubtreeTransaction, StaysOpenOnADependantWithoutAListOrWithOneThatIsNoString) {
  const std::pair<std::string, std::string> CASES[] = {
      {"[{'task_name': 'C'}]", "!jOut.isMember(\"depend_on_task\")"},
      {"[{'task_name': 'C', 'depend_on_task': 5}]", "!jOut[\"depend_on_task\"].isString()"},
      {"[{'task_name': 'C', 'depend_on_task': null}]", "!jOut[\"depend_on_task\"].isString()"}};
  for (const auto& [strRecords, strCheck] : CASES) {
    fakes().answer("recList", 0, json(strRecords));
    expectFailure(strCheck, LIB);
    EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), -1);
    expectLeftOpen();
    fakes().clearFaults();
  }
}

TEST_F(SubtreeTransaction, StaysOpenWhenADependantCannotBeWritten) {
  putTask("D", "[B]");
  fakes().fail("recUpdateByFilter(task, {\"task_name\":\"D\"}");
  expectFailure("0 > pApi->recUpdateByFilter(jFilter, jOut)", LIB);
  EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), -1);
  EXPECT_EQ(listOf("C"), "");
  EXPECT_EQ(listOf("D"), "[B]");
  expectLeftOpen();
}

TEST_F(SubtreeTransaction, ThatCannotBeCommittedIsAFailure) {
  fakes().fail("sqlite3_exec(COMMIT;");
  expectFailure(COMMIT_CHECK, LIB);
  expectLine("szErrMsg=injected", LIB);
  EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), -1);
  EXPECT_EQ(sqlite3_get_autocommit(m_pDb), 0);
}

TEST_F(SubtreeTransaction, ErrorTextIsLoggedWhenAndOnlyWhenThereIsOne) {
  fakes().answer("sqlite3_exec(BEGIN;", SQLITE_BUSY);
  expectFailure(BEGIN_CHECK, LIB);
  EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), -1);
  fakes().clearFaults();
  fakes().answer("sqlite3_exec(COMMIT;", SQLITE_OK, Json::Value("100%s done"));
  expectLine("szErrMsg=100%s done", LIB);
  EXPECT_EQ(change(REQUESTS[0], SUBTREE_DELETE), 0);
}

TEST_F(SubtreeTransaction, EachFailingCallOfBothKindsIsAFailure) {
  for (const int iType : {SUBTREE_DELETE, SUBTREE_RENAME}) {
    const int cCalls = failEachCall([this] { SetUp(); },
                                    [&] {
                                      const int iResult = change(REQUESTS[iType], iType);
                                      EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
                                      rollBack();
                                    });
    EXPECT_EQ(cCalls, 8);
  }
}
