// recUpdateSubtree: changes in the lists of other tasks.

#include "catalogue_fixture.h"

using namespace OrvaTest;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class UpdateSubtree : public CatalogueTest {
protected:
  int remove(const std::string& strName) { return change(request(strName), SUBTREE_DELETE); }

  int rename(const std::string& strOld, const std::string& strNew) {
    Json::Value jRequest = request(strNew);
    jRequest["old_task_name"] = strOld;
    return change(jRequest, SUBTREE_RENAME);
  }

  int change(const Json::Value& jRequest, int iType) {
    m_jIn = jRequest;
    return recUpdateSubtree(m_pApi, m_jIn, m_pDb, iType);
  }

  // The tasks that were written, in order.
  static std::vector<std::string> written() {
    std::vector<std::string> filters;
    const std::string strStart = "recUpdateByFilter(task, ";
    for (const std::string& strCall : fakes().calls()) {
      if (strCall.starts_with(strStart)) {
        filters.push_back(strCall.substr(strStart.size(), strCall.find('}') - strStart.size() + 1));
      }
    }
    return filters;
  }

  Json::Value m_jIn;
};

}  // namespace

TEST_F(UpdateSubtree, KindsHaveTheirValues) {
  EXPECT_EQ(SUBTREE_DELETE, 0);
  EXPECT_EQ(SUBTREE_RENAME, 1);
}

TEST_F(UpdateSubtree, DeletedTaskLeavesTheListsThatNameItAndNoOther) {
  putTask("B");
  putTask("C", "[A][B][D]");
  putTask("E", "[B]");
  putTask("F", "[C][E]");
  putTask("G", "[A]");
  EXPECT_EQ(remove("B"), 0);
  EXPECT_EQ(listOf("C"), "[A][D]");
  EXPECT_EQ(listOf("E"), "");
  EXPECT_EQ(listOf("F"), "[C][E]");
  EXPECT_THAT(written(), ElementsAre(byName("C"), byName("E")));
}

TEST_F(UpdateSubtree, RenamedTaskIsRenamedInTheListsThatNameIt) {
  putTask("B");
  putTask("C", "[A][B][D]");
  putTask("F", "[C]");
  EXPECT_EQ(rename("B", "X"), 0);
  EXPECT_TRUE(fakes().record("task", "B").isNull());
  EXPECT_FALSE(fakes().record("task", "X").isNull());
  EXPECT_EQ(listOf("C"), "[A][X][D]");
  EXPECT_EQ(listOf("F"), "[C]");
  EXPECT_THAT(written(), ElementsAre(byName("B"), byName("C")));
}

TEST_F(UpdateSubtree, FirstCopyOfAnEntryIsTheOnlyOneThatChanges) {
  putTask("B");
  putTask("C", "[B][A][B]");
  EXPECT_EQ(rename("B", "X"), 0);
  EXPECT_EQ(listOf("C"), "[X][A][B]");
  putTask("B");
  putTask("C", "[B][A][B]");
  EXPECT_EQ(remove("B"), 0);
  EXPECT_EQ(listOf("C"), "[A][B]");
}

TEST_F(UpdateSubtree, EntryIsMatchedOnlyAsTheExactBracketedName) {
  const std::pair<std::string, std::string> CASES[] = {
      {"x[B]y", "xy"}, {"B[B]B", "BB"}, {"[BB][B]", "[BB]"}, {"[b][B]", "[b]"}, {"[b]", "[b]"},
      {"[[B]]", "[]"}, {"B", "B"},      {"[ B ]", "[ B ]"},  {"[B", "[B"},      {"[a][B]", "[a]"}};
  for (const auto& [strBefore, strAfter] : CASES) {
    putTask("B");
    putTask("C", strBefore);
    EXPECT_EQ(remove("B"), 0);
    EXPECT_EQ(listOf("C"), strAfter);
  }
}

TEST_F(UpdateSubtree, TaskThatOnlyMatchesAsAPatternIsNotWritten) {
  putTask("task_1");
  putTask("C", "[taskX1]");
  putTask("D", "[TASK_1]");
  EXPECT_EQ(remove("task_1"), 0);
  EXPECT_THAT(written(), IsEmpty());
  EXPECT_EQ(listOf("C"), "[taskX1]");
}

TEST_F(UpdateSubtree, ListThatIsBrokenBehindTheEntryIsRewrittenAllTheSame) {
  putTask("B");
  putTask("C", "[B][broken");
  EXPECT_EQ(rename("B", "X"), 0);
  EXPECT_EQ(listOf("C"), "[X][broken");
}

TEST_F(UpdateSubtree, DependantIsWrittenWhole) {
  putTask("B");
  fakes().put("task", json("{'task_name': 'C', 'depend_on_task': '[B]', 'operation': 'true', 'status': {'n': [1]}}"));
  EXPECT_EQ(remove("B"), 0);
  EXPECT_EQ(fakes().calls().back(),
            "recUpdateByFilter(task, {\"task_name\":\"C\"}, "
            "{\"depend_on_task\":\"\",\"operation\":\"true\",\"status\":{\"n\":[1]},\"task_name\":\"C\"})");
}

TEST_F(UpdateSubtree, RenameToTheSameNameRewritesDependantsUnchanged) {
  putTask("B");
  putTask("C", "[A][B]");
  EXPECT_EQ(rename("B", "B"), 0);
  EXPECT_EQ(listOf("C"), "[A][B]");
  EXPECT_THAT(written(), ElementsAre(byName("B"), byName("C")));
}

TEST_F(UpdateSubtree, RenameCarriesTheOtherMembersOfTheRequest) {
  putTask("B");
  EXPECT_EQ(change(json("{'task_name': 'X', 'old_task_name': 'B', 'operation': 'true'}"), SUBTREE_RENAME), 0);
  EXPECT_EQ(fakes().record("task", "X")["operation"], "true");
  EXPECT_EQ(m_jIn, json("{'task_name': 'X', 'operation': 'true'}"));
}

TEST_F(UpdateSubtree, RenameOfANameThatDoesNotExistRewritesTheListsThatNameIt) {
  putTask("C", "[gone]");
  EXPECT_EQ(rename("gone", "X"), 0);
  EXPECT_EQ(listOf("C"), "[X]");
  EXPECT_THAT(written(), ElementsAre(byName("gone"), byName("C")));
}

TEST_F(UpdateSubtree, RequestOfADeletionIsLeftAsItIs) {
  putTask("B");
  EXPECT_EQ(change(json("{'task_name': 'B', 'old_task_name': 'Z'}"), SUBTREE_DELETE), 0);
  EXPECT_EQ(m_jIn, json("{'task_name': 'B', 'old_task_name': 'Z'}"));
}

TEST_F(UpdateSubtree, NoEventIsLogged) {
  putTask("B");
  EXPECT_EQ(rename("B", "X"), 0);
  EXPECT_EQ(remove("X"), 0);
  EXPECT_THAT(fakes().events(), IsEmpty());
}

TEST_F(UpdateSubtree, CycleThroughTheRenamedTaskIsNoFailure) {
  putTask("B", "[C]");
  putTask("C", "[B]");
  EXPECT_EQ(rename("B", "X"), 0);
  EXPECT_EQ(listOf("C"), "[X]");
  EXPECT_EQ(listOf("X"), "[C]");
  EXPECT_THAT(written(), ElementsAre(byName("B"), byName("C")));
}

TEST_F(UpdateSubtree, TaskThatListedItselfHasThatEntryRenamedToo) {
  putTask("B", "[B]");
  EXPECT_EQ(rename("B", "X"), 0);
  EXPECT_EQ(listOf("X"), "[X]");
}

TEST_F(UpdateSubtree, CycleThroughTheDeletedTaskIsNoFailure) {
  putTask("B", "[C]");
  putTask("C", "[B]");
  EXPECT_EQ(remove("B"), 0);
  EXPECT_EQ(listOf("C"), "");
}

TEST_F(UpdateSubtree, QuotesInNamesAreHarmless) {
  putTask("it's");
  putTask("C", "[it's]");
  EXPECT_EQ(rename("it's", "that's"), 0);
  EXPECT_EQ(listOf("C"), "[that's]");
}
