// The rows that a filter matches, and invalid filters.

#include "record_store_fixture.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Filters : public RecordStore {
protected:
  void SetUp() override {
    add(task("a", R"({"event":"bootup","enable":true,"last_start_time":5,"status":{"running":[1]}})"));
    add(task("b", R"({"event":"bootup","depend_on_task":"[a]","status":{}})"));
    add(task("c", R"({"event":"Bootup","enable":true,"depend_on_task":"[A][b]","status":null,"owner":5})"));
    add(task("it's", R"({"event":"","depend_on_task":"[b]"})"));
  }

  std::vector<std::string> namesOf(const Json::Value& jFilter) {
    Json::Value jOut;
    EXPECT_EQ(0, m_tasks.recList(jFilter, jOut)) << text(jFilter);
    std::vector<std::string> result;
    for (const Json::Value& jRecord : jOut) {
      result.push_back(jRecord["task_name"].asString());
    }
    return result;
  }

  std::vector<std::string> namesOf(const char* szFilter) { return namesOf(parse(szFilter)); }

  std::vector<std::string> namesWhere(const std::string& strWhere) {
    Json::Value jFilter;
    jFilter["orvaSqlWhereFilter"] = strWhere;
    return namesOf(jFilter);
  }

  void expectRefused(const Json::Value& jFilter, const std::string& strReason) {
    Json::Value jOut = "untouched";
    EXPECT_EQ(-1, m_tasks.recList(jFilter, jOut));
    expectFailure("task, recList: " + strReason);
    EXPECT_EQ(-1, m_tasks.recGetOne(jFilter, jOut));
    expectFailure("task, recGetOne: " + strReason);
    EXPECT_EQ("untouched", jOut.asString());
  }

  void expectRefusedWhere(const std::string& strWhere, const std::string& strReason) {
    Json::Value jFilter;
    jFilter["orvaSqlWhereFilter"] = strWhere;
    expectRefused(jFilter, strReason);
  }
};

}  // namespace

TEST_F(Filters, EveryMemberMustBeEqual) {
  EXPECT_THAT(namesOf(R"({"event":"bootup"})"), ElementsAre("a", "b"));
  EXPECT_THAT(namesOf(R"({"event":"bootup","enable":true})"), ElementsAre("a"));
  EXPECT_THAT(namesOf(R"({"enable":true,"event":"bootup","depend_on_task":""})"), ElementsAre("a"));
  EXPECT_THAT(namesOf(R"({"event":"bootup","task_name":"c"})"), IsEmpty());
  EXPECT_THAT(namesOf("{}"), ElementsAre("a", "b", "c", "it's"));
}

TEST_F(Filters, TextIsComparedByteForByte) {
  EXPECT_THAT(namesOf(R"({"event":"Bootup"})"), ElementsAre("c"));
  EXPECT_THAT(namesOf(R"({"event":"boot%"})"), IsEmpty());
  EXPECT_THAT(namesOf(R"({"event":"bootup "})"), IsEmpty());
  EXPECT_THAT(namesOf(R"({"event":""})"), ElementsAre("it's"));
}

TEST_F(Filters, NullMatchesAbsentMembersAndInAJsonColumnNull) {
  EXPECT_THAT(namesOf(R"({"last_start_time":null})"), ElementsAre("b", "c", "it's"));
  EXPECT_THAT(namesOf(R"({"last_start_time":null,"event":"bootup"})"), ElementsAre("b"));
  EXPECT_THAT(namesOf(R"({"status":null})"), ElementsAre("c"));
}

TEST_F(Filters, JsonIsComparedAsAWhole) {
  EXPECT_THAT(namesOf(R"({"status":{"running":[1]}})"), ElementsAre("a"));
  EXPECT_THAT(namesOf(R"({"status":{}})"), ElementsAre("b"));
  EXPECT_THAT(namesOf(R"({"status":{"running":[]}})"), IsEmpty());
}

TEST_F(Filters, RunIsFoundByNumberAndNameTogether) {
  Json::Value jRun;
  ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"a"})"), jRun));
  Json::Value jOut;
  EXPECT_EQ(0, m_results.recGetOne(parse(R"({"result_id":1,"task_name":"a"})"), jOut));
  EXPECT_EQ(1, jOut["result_id"].asInt());
  EXPECT_EQ(0, m_results.recGetOne(parse(R"({"result_id":1,"task_name":"b"})"), jOut));
  EXPECT_TRUE(jOut.isNull());
}

TEST_F(Filters, MemberThatIsNoColumnIsRefused) {
  expectRefused(parse(R"({"task_name":"a","nothing":1})"), "the filter's member nothing is not a column");
  expectRefused(parse(R"({"old_task_name":"a"})"), "the filter's member old_task_name is not a column");
  expectRefused(parse(R"({"task_name;--":"a"})"), "the filter's member task_name;-- is not a column");
  expectRefused(parse(R"({"TASK_NAME":"a"})"), "the filter's member TASK_NAME is not a column");
}

TEST_F(Filters, ValueOfAnotherTypeIsRefused) {
  expectRefused(parse(R"({"task_name":7})"), "column task_name: 7 does not fit the type text");
  expectRefused(parse(R"({"enable":1})"), "column enable: 1 does not fit the type boolean");
  expectRefused(parse(R"({"owner":"1000"})"), "column owner: \"1000\" does not fit the type integer");
  expectRefused(parse(R"({"owner":1000.0})"), "column owner: 1000.0 does not fit the type integer");
}

TEST_F(Filters, OtherTypesThanAnObjectAreRefused) {
  for (const char* szFilter : {"null", "[]", "\"a\"", "1"}) {
    expectRefused(parse(szFilter), "the filter is not an object");
  }
}

TEST_F(Filters, WhereClauseIsUsedUnchanged) {
  EXPECT_THAT(namesWhere("depend_on_task like '%[b]%'"), ElementsAre("c", "it's"));
  EXPECT_THAT(namesWhere("depend_on_task like '%[a]%'"), ElementsAre("b", "c"));
  EXPECT_THAT(namesWhere("depend_on_task like '%[_]%'"), ElementsAre("b", "c", "it's"));
  EXPECT_THAT(namesWhere("(event='bootup' ) and ( task_name!='a' )  and ( task_name not in ('x','y' ))"),
              ElementsAre("b"));
  EXPECT_THAT(namesWhere("task_name = 'it''s'"), ElementsAre("it's"));
  EXPECT_THAT(namesWhere("1"), ElementsAre("a", "b", "c", "it's"));
  EXPECT_THAT(namesWhere("0"), IsEmpty());
}

TEST_F(Filters, WhereClauseGivesTheFirstByKeyToo) {
  Json::Value jFilter;
  jFilter["orvaSqlWhereFilter"] = "task_name > 'a'";
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recGetOne(jFilter, jOut));
  EXPECT_EQ("b", jOut["task_name"].asString());
}

TEST_F(Filters, WhereClauseMayAskTheSameTableAndCallFunctions) {
  EXPECT_THAT(namesWhere("owner = (select max(owner) from task) and lower(event) = 'bootup'"), ElementsAre("a", "b"));
  EXPECT_THAT(namesWhere("exists (select 1 from task where task_name = 'zzz')"), IsEmpty());
  EXPECT_THAT(namesWhere("json_extract(status, '$.running[0]') = 1"), ElementsAre("a"));
}

TEST_F(Filters, WhereClauseMayEndWithAComment) {
  EXPECT_THAT(namesWhere("event = 'bootup' -- the first ones"), ElementsAre("a", "b"));
}

TEST_F(Filters, WhereClauseThatIsBrokenIsRefused) {
  expectRefusedWhere("", "near \")\": syntax error");
  expectRefusedWhere("task_name = ", "near \")\": syntax error");
  expectRefusedWhere("task_name not in ('it's')", "near \"s\": syntax error");
  expectRefusedWhere("colour = 1", "no such column: colour");
  expectRefusedWhere("task_name = ?", "the filter must not have a parameter");
  expectRefusedWhere(std::string("1\0 and 0", 8), "orvaSqlWhereFilter contains a NUL");
}

TEST_F(Filters, WhereClauseCountsOnlyAsTheSoleMemberAndAString) {
  expectRefused(parse(R"({"orvaSqlWhereFilter":"1","task_name":"a"})"),
                "the filter's member orvaSqlWhereFilter is not a column");
  expectRefused(parse(R"({"orvaSqlWhereFilter":1})"), "orvaSqlWhereFilter is not a string");
  expectRefused(parse(R"({"orvaSqlWhereFilter":null})"), "orvaSqlWhereFilter is not a string");
}

TEST_F(Filters, WhereClauseIsNotAcceptedForWrites) {
  const Json::Value jFilter = parse(R"({"orvaSqlWhereFilter":"1"})");
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(jFilter, parse(R"({"enable":true})")));
  expectFailure("task, recUpdateByFilter: the filter's member orvaSqlWhereFilter is not a column");
  EXPECT_EQ(-1, m_tasks.recDelete(jFilter, false));
  expectFailure("task, recDelete: the record has no key task_name");
  EXPECT_EQ("4", queryText(m_pDb.get(), "SELECT count(*) FROM task"));
}

TEST_F(Filters, ManyDifferentColumnSetsStayCorrect) {
  const std::vector<std::string> members{"event",         "depend_on_task", "enable",
                                         "notify_enable", "notify_mail",    "operation",
                                         "time_limit",    "operation_type", "owner"};
  Json::Value jTask;
  ASSERT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jTask));
  for (unsigned uSet = 0; uSet < (1U << members.size()); ++uSet) {
    Json::Value jFilter = parse(R"({"task_name":"a"})");
    for (std::size_t iMember = 0; iMember < members.size(); ++iMember) {
      if ((uSet >> iMember & 1U) != 0) {
        jFilter[members[iMember]] = jTask[members[iMember]];
      }
    }
    ASSERT_THAT(namesOf(jFilter), ElementsAre("a")) << text(jFilter);
  }
}
