// recListRelateEx: the tasks that a task waits for.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const std::string CYCLE_CHECK = "jOut[i][\"task_name\"].toString() == jRecParam[\"task_name\"].toString()";
const std::string PARSE_CHECK = "string::npos == (posEnd = strTaskDepend.find(\"]\", posStart))";

class WalkPrerequisites : public CatalogueTest {
protected:
  // The names that the walk from "A" finds.
  std::vector<std::string> found() {
    Json::Value jOut;
    EXPECT_EQ(walk(true, "A", jOut), 0);
    EXPECT_TRUE(jOut.isArray());
    return names(jOut);
  }

  void expectFailedWalk() {
    Json::Value jOut;
    EXPECT_EQ(walk(true, "A", jOut), -1);
  }
};

}  // namespace

TEST_F(WalkPrerequisites, AreFoundBreadthFirst) {
  putTask("A", "[B][E]");
  putTask("B");
  putTask("D");
  putTask("E", "[D]");
  putTask("unrelated", "[A]");
  EXPECT_THAT(found(), ElementsAre("B", "E", "D"));
  EXPECT_THAT(listings(), ElementsAre(byName("A"), byName("B"), byName("E"), byName("D")));
}

TEST_F(WalkPrerequisites, AreWholeRecords) {
  const Json::Value jTask = json("{'task_name': 'B', 'depend_on_task': '', 'operation': 'true', 'status': {}}");
  fakes().put("task", jTask);
  putTask("A", "[B]");
  Json::Value jOut;
  EXPECT_EQ(walk(true, "A", jOut), 0);
  ASSERT_EQ(jOut.size(), 1U);
  EXPECT_EQ(jOut[0], jTask);
}

TEST_F(WalkPrerequisites, OfARootAreNone) {
  fakes().put("task", json("{'task_name': 'A'}"));
  EXPECT_THAT(found(), IsEmpty());
  putTask("A", "");
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(WalkPrerequisites, OfATaskThatDoesNotExistAreNone) {
  putTask("B", "[A]");
  EXPECT_THAT(found(), IsEmpty());
  EXPECT_THAT(listings(), ElementsAre(byName("A")));
}

TEST_F(WalkPrerequisites, TextOutsideBracketsIsIgnored) {
  putTask("A", "x[a]y[b]x[d]");
  putTask("a");
  putTask("b");
  putTask("d");
  putTask("x");
  putTask("y");
  EXPECT_THAT(found(), ElementsAre("a", "b", "d"));
}

TEST_F(WalkPrerequisites, EmptyNameIsQueriedAndMatchesNothing) {
  putTask("A", "[]");
  EXPECT_THAT(found(), IsEmpty());
  EXPECT_THAT(listings(), ElementsAre(byName("A"), byName("")));
}

TEST_F(WalkPrerequisites, NameWithoutATaskContributesNothing) {
  putTask("A", "[gone][B]");
  putTask("B");
  EXPECT_THAT(found(), ElementsAre("B"));
}

TEST_F(WalkPrerequisites, AreComparedByteForByte) {
  putTask("A", "[task_1][B ]");
  for (const char* szName : {"taskX1", "Task_1", "B", " B"}) {
    putTask(szName);
  }
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(WalkPrerequisites, DiamondIsListedOnceAndQueriedTwice) {
  putTask("A", "[B][E]");
  putTask("B", "[D]");
  putTask("E", "[D]");
  putTask("D");
  EXPECT_THAT(found(), ElementsAre("B", "E", "D"));
  EXPECT_THAT(listings(), ElementsAre(byName("A"), byName("B"), byName("E"), byName("D"), byName("D")));
}

TEST_F(WalkPrerequisites, NameListedTwiceIsListedOnceAndQueriedTwice) {
  putTask("A", "[B][B]");
  putTask("B");
  EXPECT_THAT(found(), ElementsAre("B"));
  EXPECT_THAT(listings(), ElementsAre(byName("A"), byName("B"), byName("B")));
}

TEST_F(WalkPrerequisites, TaskThatListsItselfFails) {
  putTask("A", "[A]");
  expectFailure(CYCLE_CHECK, LIB);
  expectFailedWalk();
  EXPECT_THAT(listings(), ElementsAre(byName("A"), byName("A")));
}

TEST_F(WalkPrerequisites, CycleThroughOthersFails) {
  putTask("A", "[B]");
  putTask("B", "[C]");
  putTask("C", "[A]");
  expectFailure(CYCLE_CHECK, LIB);
  expectFailedWalk();
}

TEST_F(WalkPrerequisites, CycleThatDoesNotPassThroughTheStartIsWalkedOnAndOn) {
  putTask("A", "[B]");
  putTask("B", "[E]");
  putTask("E", "[B]");
  // The store ends the endless walk.
  fakes().fail("recList", 200);
  expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
  Json::Value jOut;
  EXPECT_EQ(walk(true, "A", jOut), -1);
  EXPECT_THAT(names(jOut), ElementsAre("B", "E"));
  EXPECT_EQ(listings().size(), 200U);
}

TEST_F(WalkPrerequisites, MalformedListFailsWhereverItIsMet) {
  for (const char* szList : {"[a", "[", "[a][b", "x[a]["}) {
    putTask("A", szList);
    expectFailure(PARSE_CHECK, LIB);
    expectFailedWalk();
    putTask("A", "[B]");
    putTask("B", szList);
    expectFailure(PARSE_CHECK, LIB);
    expectFailedWalk();
  }
}

TEST_F(WalkPrerequisites, ListThatIsNoStringFails) {
  for (const char* szList : {"null", "5", "['B']", "{}", "true"}) {
    Json::Value jTask = request("A");
    jTask["depend_on_task"] = json(szList);
    fakes().put("task", jTask);
    expectFailure("!jOut[i][\"depend_on_task\"].isString()", LIB);
    expectFailedWalk();
  }
}

TEST_F(WalkPrerequisites, RecordWithoutANameFails) {
  for (const char* szRecord : {"[{}]", "[{'depend_on_task': '[B]'}]", "['A']", "[null]"}) {
    fakes().answer("recList(task, " + byName("A"), 0, json(szRecord));
    expectFailure("!jOut[i].isMember(\"task_name\")", LIB);
    expectFailedWalk();
    fakes().clearFaults();
  }
}

TEST_F(WalkPrerequisites, FailingStoreKeepsEarlierResults) {
  putTask("A", "[B][E]");
  putTask("B");
  putTask("E");
  for (int iCall = 1; iCall <= 3; ++iCall) {
    fakes().fail("recList", iCall);
    expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
    Json::Value jOut;
    EXPECT_EQ(walk(true, "A", jOut), -1);
    EXPECT_EQ(jOut.size(), iCall == 3 ? 1U : 0U);
    fakes().clearFaults();
  }
}

TEST_F(WalkPrerequisites, EachFailingCallIsAFailure) {
  const int cCalls = failEachCall(
      [] {
        putTask("A", "[B][E]");
        putTask("B", "[D]");
        putTask("E", "[D]");
        putTask("D");
      },
      [this] {
        Json::Value jOut;
        const int iResult = walk(true, "A", jOut);
        EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
      });
  EXPECT_EQ(cCalls, 5);
}
