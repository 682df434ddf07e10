// recListRelateEx: the tasks that wait for a task.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string CYCLE_CHECK = "jOut[i][\"task_name\"].toString() == jRecParam[\"task_name\"].toString()";

class WalkDependants : public CatalogueTest {
protected:
  std::vector<std::string> found(const std::string& strName) {
    Json::Value jOut;
    EXPECT_EQ(walk(false, strName, jOut), 0);
    EXPECT_TRUE(jOut.isArray());
    return names(jOut);
  }

  void expectFailedWalk() {
    Json::Value jOut;
    EXPECT_EQ(walk(false, "A", jOut), -1);
  }

  static std::string waitingFor(const std::string& strName) {
    return byText("depend_on_task like '%[" + strName + "]%'");
  }
};

}  // namespace

TEST_F(WalkDependants, AreFoundBreadthFirst) {
  putTask("A");
  putTask("B", "[A]");
  putTask("E", "[A]");
  putTask("D", "[E]");
  putTask("F", "x[Z][B]y");
  putTask("unrelated", "A[Z]");
  EXPECT_THAT(found("A"), ElementsAre("B", "E", "F", "D"));
  EXPECT_THAT(listings(),
              ElementsAre(waitingFor("A"), waitingFor("B"), waitingFor("E"), waitingFor("F"), waitingFor("D")));
}

TEST_F(WalkDependants, AreWholeRecords) {
  const Json::Value jTask = json("{'task_name': 'B', 'depend_on_task': '[A]', 'operation': 'true', 'status': {}}");
  fakes().put("task", jTask);
  Json::Value jOut;
  EXPECT_EQ(walk(false, "A", jOut), 0);
  ASSERT_EQ(jOut.size(), 1U);
  EXPECT_EQ(jOut[0], jTask);
}

TEST_F(WalkDependants, OfATaskThatNobodyWaitsForAreNone) {
  putTask("A", "[B]");
  EXPECT_THAT(found("A"), IsEmpty());
  EXPECT_THAT(found("unknown"), IsEmpty());
}

TEST_F(WalkDependants, OfATaskThatDoesNotExistAreFoundByItsName) {
  putTask("B", "[gone]");
  EXPECT_THAT(found("gone"), ElementsAre("B"));
}

TEST_F(WalkDependants, DiamondIsListedOnceAndQueriedTwice) {
  putTask("A");
  putTask("B", "[A]");
  putTask("E", "[A]");
  putTask("D", "[B][E]");
  EXPECT_THAT(found("A"), ElementsAre("B", "E", "D"));
  EXPECT_THAT(listings(),
              ElementsAre(waitingFor("A"), waitingFor("B"), waitingFor("E"), waitingFor("D"), waitingFor("D")));
}

TEST_F(WalkDependants, TaskThatListsItselfFailsAtOnce) {
  putTask("A", "[A]");
  expectFailure(CYCLE_CHECK, LIB);
  expectFailedWalk();
  EXPECT_THAT(listings(), ElementsAre(waitingFor("A")));
}

TEST_F(WalkDependants, CycleThroughOthersFails) {
  putTask("A", "[C]");
  putTask("B", "[A]");
  putTask("C", "[B]");
  expectFailure(CYCLE_CHECK, LIB);
  expectFailedWalk();
}

TEST_F(WalkDependants, CycleThatDoesNotPassThroughTheStartIsWalkedOnAndOn) {
  putTask("B", "[A][E]");
  putTask("E", "[B]");
  fakes().fail("recList", 200);
  expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
  expectFailedWalk();
  EXPECT_EQ(listings().size(), 200U);
}

TEST_F(WalkDependants, UnderscoreAndPercentMatchOtherNames) {
  putTask("exact", "[task_1]");
  putTask("other", "[taskX1]");
  putTask("too short", "[task1]");
  EXPECT_THAT(found("task_1"), ElementsAre("exact", "other"));
  putTask("percent", "[full backup now]");
  EXPECT_THAT(found("full%now"), ElementsAre("percent"));
}

TEST_F(WalkDependants, LettersMatchWithoutRegardToCase) {
  putTask("B", "[BackUp]");
  EXPECT_THAT(found("backup"), ElementsAre("B"));
}

TEST_F(WalkDependants, QuoteInANameIsDoubled) {
  putTask("B", "[it's]");
  putTask("it's");
  EXPECT_THAT(found("it's"), ElementsAre("B"));
  EXPECT_THAT(listings(), ElementsAre(waitingFor("it''s"), waitingFor("B")));
}

TEST_F(WalkDependants, NameThatWouldEndTheTextIsHarmless) {
  putTask("B", "[Z]");
  EXPECT_THAT(found("x' or 1=1 --"), IsEmpty());
}

TEST_F(WalkDependants, BracketsAreMatchedLiterally) {
  putTask("Q", "[a]x[b]");
  EXPECT_THAT(found("a]x[b"), ElementsAre("Q"));
  EXPECT_THAT(found("x"), IsEmpty());
}

TEST_F(WalkDependants, ListsAreNotParsed) {
  putTask("B", "[A][broken");
  EXPECT_THAT(found("A"), ElementsAre("B"));
}

TEST_F(WalkDependants, RecordWithoutANameFails) {
  for (const char* szRecord : {"[{}]", "[{'depend_on_task': '[A]'}]", "[null]", "[5]"}) {
    fakes().answer("recList", 0, json(szRecord));
    expectFailure("!jOut[i].isMember(\"task_name\")", LIB);
    expectFailedWalk();
    fakes().clearFaults();
  }
}

TEST_F(WalkDependants, FailsWithoutMemoryForTheText) {
  putTask("B", "[A]");
  for (int iCall = 1; iCall <= 2; ++iCall) {
    fakes().fail("sqlite3_mprintf", iCall);
    expectFailure("!szSql", LIB);
    expectFailedWalk();
    fakes().clearFaults();
  }
}

TEST_F(WalkDependants, FailingStoreKeepsEarlierResults) {
  putTask("B", "[A]");
  fakes().fail("recList", 2);
  expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
  Json::Value jOut;
  EXPECT_EQ(walk(false, "A", jOut), -1);
  EXPECT_THAT(names(jOut), ElementsAre("B"));
}

TEST_F(WalkDependants, EachFailingCallIsAFailure) {
  const int cCalls = failEachCall(
      [] {
        putTask("B", "[A]");
        putTask("D", "[B]");
      },
      [this] {
        Json::Value jOut;
        const int iResult = walk(false, "A", jOut);
        EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
      });
  EXPECT_EQ(cCalls, 6);
}
