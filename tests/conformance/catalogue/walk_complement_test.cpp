// recListRelateEx with an event: the tasks of the event that the walk did not find.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class WalkComplement : public CatalogueTest {
protected:
  std::vector<std::string> others(bool blBottomUp, const std::string& strName, const std::string& strEvent) {
    Json::Value jOut;
    EXPECT_EQ(walk(blBottomUp, strName, jOut, strEvent), 0);
    EXPECT_TRUE(jOut.isArray());
    return names(jOut);
  }

  // The store's results for a walk from "A".
  void walkMeets(const char* szRecords) {
    fakes().answer("recList", 0, json(szRecords));
    fakes().answer("recList", 0, json("[]")).nth(2);
  }
};

}  // namespace

TEST_F(WalkComplement, IsTheRestOfTheEventWithoutTheTaskItself) {
  putTask("A", "[B]");
  putTask("B", "[C]");
  putTask("C");
  putTask("D", "[A]");
  putTask("E");
  putTask("elsewhere", "", "shutdown");
  EXPECT_THAT(others(true, "A", "bootup"), ElementsAre("D", "E"));
  EXPECT_THAT(others(false, "A", "bootup"), ElementsAre("B", "C", "E"));
  EXPECT_THAT(others(true, "A", "shutdown"), ElementsAre("elsewhere"));
}

TEST_F(WalkComplement, NamesTheTasksInTheOrderOfTheWalk) {
  putTask("A", "[C][B]");
  putTask("B");
  putTask("C");
  EXPECT_THAT(others(true, "A", "bootup"), IsEmpty());
  EXPECT_EQ(listings().back(), byText("(event='bootup' ) and ( task_name!='A' )  and ( task_name not in ('C','B' ))"));
}

TEST_F(WalkComplement, HasNoListOfNamesWhenNothingWasMet) {
  putTask("A");
  putTask("B");
  EXPECT_THAT(others(true, "A", "bootup"), ElementsAre("B"));
  EXPECT_EQ(listings().back(), byText("(event='bootup' ) and ( task_name!='A' ) "));
}

TEST_F(WalkComplement, EventWithoutTasksGivesAnEmptyArray) {
  putTask("A");
  EXPECT_THAT(others(true, "A", "no such event"), IsEmpty());
}

TEST_F(WalkComplement, QuotesInTheTaskAndTheEventAreDoubled) {
  putTask("it's", "", "o'clock");
  putTask("B", "", "o'clock");
  EXPECT_THAT(others(true, "it's", "o'clock"), ElementsAre("B"));
  EXPECT_EQ(listings().back(), byText("(event='o''clock' ) and ( task_name!='it''s' ) "));
}

TEST_F(WalkComplement, QuoteInANameThatWasMetMakesTheStoreFail) {
  putTask("A", "[it's]");
  putTask("it's");
  expectFailure("0 > pApi->recList(jFilter, jRecArrayOut)", LIB);
  Json::Value jOut;
  EXPECT_EQ(walk(true, "A", jOut, "bootup"), -1);
  EXPECT_EQ(listings().back(), byText("(event='bootup' ) and ( task_name!='A' )  and ( task_name not in ('it's' ))"));
}

TEST_F(WalkComplement, NameThatWasMetMustBeAString) {
  walkMeets("[{'task_name': 17, 'depend_on_task': '[A]'}]");
  expectFailure("!jRecArrayOut[i][\"task_name\"].isString()", LIB);
  Json::Value jOut;
  EXPECT_EQ(walk(false, "A", jOut, "bootup"), -1);
}

TEST_F(WalkComplement, FailsWithoutMemoryForTheText) {
  fakes().fail("sqlite3_mprintf((event");
  Json::Value jOut;
  expectFailure("!szSql", LIB);
  EXPECT_EQ(walk(true, "A", jOut, "bootup"), -1);
}

TEST_F(WalkComplement, FailsWhenTheStoreFailsToListTheEvent) {
  putTask("A");
  fakes().fail("recList", 2);
  expectFailure("0 > pApi->recList(jFilter, jRecArrayOut)", LIB);
  Json::Value jOut;
  EXPECT_EQ(walk(true, "A", jOut, "bootup"), -1);
}

TEST_F(WalkComplement, FailedWalkIsNotFollowedByIt) {
  putTask("A", "[A]");
  expectFailure("jOut[i][\"task_name\"].toString() == jRecParam[\"task_name\"].toString()", LIB);
  Json::Value jOut;
  EXPECT_EQ(walk(true, "A", jOut, "bootup"), -1);
  EXPECT_EQ(listings().size(), 2U);
}

TEST_F(WalkComplement, EachFailingCallIsAFailure) {
  const int cCalls = failEachCall(
      [] {
        putTask("A");
        putTask("B", "[A]");
      },
      [this] {
        Json::Value jOut;
        const int iResult = walk(false, "A", jOut, "bootup");
        EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
      });
  EXPECT_EQ(cCalls, 6);
}
