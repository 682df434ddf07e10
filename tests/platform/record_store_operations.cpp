// The five operations.

#include "record_store_fixture.h"

using testing::ElementsAre;

namespace {

std::vector<std::string> names(const Json::Value& jRecords) {
  std::vector<std::string> result;
  for (const Json::Value& jRecord : jRecords) {
    result.push_back(jRecord["task_name"].asString());
  }
  return result;
}

class Create : public RecordStore {};
class GetOne : public RecordStore {};
class List : public RecordStore {};
class Update : public RecordStore {};
class Delete : public RecordStore {};

}  // namespace

TEST_F(Create, GivesTheWholeRecordWithDefaultsAndAbsentNulls) {
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recCreate(parse(R"({"task_name":"a","owner":1000,"event":"bootup"})"), jOut));
  EXPECT_EQ(text(parse(R"({"task_name":"a","owner":1000,"event":"bootup","depend_on_task":"","enable":false,
      "run_the_same_time":false,"notify_enable":false,"notify_if_error":false,"notify_mail":"","operation":"",
      "operation_type":"script","time_limit":0,"directory":"/","nice":0,"io_class":"none","memory_limit":0,
      "environment":{},"only_after_success":false,"retries":0,"retry_after":60})")),
            text(jOut));
}

TEST_F(Create, GivesTheNumberThatTheStoreAssigned) {
  add(task("a"));
  for (int iExpected = 1; iExpected <= 3; ++iExpected) {
    Json::Value jOut;
    ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"a","pid":77,"exit_info":{},"extra":{}})"), jOut));
    EXPECT_EQ(iExpected, jOut["result_id"].asInt());
    EXPECT_EQ(77, jOut["pid"].asInt());
    EXPECT_TRUE(jOut["exit_info"].isObject());
    EXPECT_FALSE(jOut.isMember("stop_time"));
  }
}

TEST_F(Create, NeverGivesANumberTwice) {
  add(task("a"));
  Json::Value jOut;
  ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"a"})"), jOut));
  ASSERT_EQ(1, m_results.recDelete(jOut, true));
  ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ(2, jOut["result_id"].asInt());
}

TEST_F(Create, DropsMembersThatAreNoColumns) {
  Json::Value jOut;
  Json::Value jTask = task("a", R"({"result":{"pid":1},"strExitCode_tmp":"/tmp/x","zzz":1,"":2})");
  ASSERT_EQ(0, m_tasks.recCreate(jTask, jOut));
  EXPECT_FALSE(jOut.isMember("result"));
  EXPECT_FALSE(jOut.isMember("strExitCode_tmp"));
  EXPECT_FALSE(jOut.isMember("zzz"));
  EXPECT_TRUE(jTask.isMember("result"));
}

TEST_F(Create, MayReplaceItsOwnInput) {
  Json::Value jTask = task("a", R"({"zzz":1})");
  ASSERT_EQ(0, m_tasks.recCreate(jTask, jTask));
  EXPECT_EQ("a", jTask["task_name"].asString());
  EXPECT_FALSE(jTask.isMember("zzz"));
  EXPECT_EQ("script", jTask["operation_type"].asString());
}

TEST_F(Create, TakenNameIsRefusedAndLeavesTheOutValueAndTheRecord) {
  add(task("a", R"({"operation":"first"})"));
  Json::Value jOut = "untouched";
  EXPECT_EQ(-1, m_tasks.recCreate(task("a", R"({"operation":"second"})"), jOut));
  expectFailure("task, recCreate: UNIQUE constraint failed: task.task_name");
  EXPECT_EQ(EEXIST, KLIBCErrGet());
  EXPECT_EQ("untouched", jOut.asString());
  EXPECT_EQ("first", queryText(m_pDb.get(), "SELECT operation FROM task"));
}

TEST_F(Create, RunOfATaskThatDoesNotExistIsRefused) {
  Json::Value jOut;
  EXPECT_EQ(-1, m_results.recCreate(parse(R"({"task_name":"nobody"})"), jOut));
  expectFailure("task_result, recCreate: FOREIGN KEY constraint failed");
}

TEST_F(Create, ValueThatIsNoObjectIsRefused) {
  for (const char* szValue : {"null", "[]", "7", "\"x\"", "true"}) {
    Json::Value jOut;
    EXPECT_EQ(-1, m_tasks.recCreate(parse(szValue), jOut));
    expectFailure("task, recCreate: the record is not an object");
  }
}

TEST_F(GetOne, GivesTheRecordOfAName) {
  add(task("a"));
  add(task("b", R"({"enable":true,"status":{"running":[5,6]}})"));
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"b"})"), jOut));
  EXPECT_TRUE(jOut["enable"].asBool());
  EXPECT_EQ("{\"running\":[5,6]}", text(jOut["status"]));
}

TEST_F(GetOne, NothingThatMatchesGivesNullAndZero) {
  Json::Value jOut = 7;
  EXPECT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"b"})"), jOut));
  EXPECT_TRUE(jOut.isNull());
}

TEST_F(GetOne, OfSeveralGivesTheFirstByKey) {
  for (const char* szName : {"c", "a", "b"}) {
    add(task(szName, R"({"event":"bootup"})"));
  }
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recGetOne(parse(R"({"event":"bootup"})"), jOut));
  EXPECT_EQ("a", jOut["task_name"].asString());
}

TEST_F(GetOne, FilterMayBeTheOutValue) {
  add(task("a"));
  Json::Value jBoth = parse(R"({"task_name":"a"})");
  ASSERT_EQ(0, m_tasks.recGetOne(jBoth, jBoth));
  EXPECT_EQ(1000, jBoth["owner"].asInt());
}

TEST_F(List, GivesRecordsInTheOrderOfTheirKey) {
  for (const char* szName : {"c", "B", "a", "b"}) {
    add(task(szName));
  }
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recList(Json::Value(Json::objectValue), jOut));
  EXPECT_THAT(names(jOut), ElementsAre("B", "a", "b", "c"));
}

TEST_F(List, NumbersAreOrderedAsNumbers) {
  add(task("a"));
  for (int iRun = 0; iRun < 12; ++iRun) {
    Json::Value jOut;
    ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"a"})"), jOut));
  }
  Json::Value jOut;
  ASSERT_EQ(0, m_results.recList(parse(R"({"task_name":"a"})"), jOut));
  ASSERT_EQ(12U, jOut.size());
  for (Json::ArrayIndex iRun = 0; iRun < 12; ++iRun) {
    EXPECT_EQ(iRun + 1, jOut[iRun]["result_id"].asUInt());
  }
}

TEST_F(List, NothingThatMatchesGivesAnEmptyArray) {
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recList(parse(R"({"event":"none"})"), jOut));
  EXPECT_TRUE(jOut.isArray());
  EXPECT_EQ(0U, jOut.size());
}

TEST_F(List, FilterMayBeTheOutValue) {
  add(task("a"));
  Json::Value jBoth = parse(R"({"task_name":"a"})");
  ASSERT_EQ(0, m_tasks.recList(jBoth, jBoth));
  EXPECT_THAT(names(jBoth), ElementsAre("a"));
}

TEST_F(Update, ChangesTheGivenMembersAndNoOthers) {
  add(task("a", R"({"operation":"keep","enable":true})"));
  EXPECT_EQ(1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"enable":false,"owner":7})")));
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_FALSE(jOut["enable"].asBool());
  EXPECT_EQ(7, jOut["owner"].asInt());
  EXPECT_EQ("keep", jOut["operation"].asString());
}

TEST_F(Update, GivesTheNumberOfRecordsThatMatched) {
  for (const char* szName : {"a", "b", "c"}) {
    add(task(szName, szName[0] == 'c' ? "{}" : R"({"event":"bootup"})"));
  }
  const Json::Value jUpdate = parse(R"({"enable":true})");
  EXPECT_EQ(2, m_tasks.recUpdateByFilter(parse(R"({"event":"bootup"})"), jUpdate));
  EXPECT_EQ(0, m_tasks.recUpdateByFilter(parse(R"({"event":"none"})"), jUpdate));
  EXPECT_EQ(3, m_tasks.recUpdateByFilter(Json::Value(Json::objectValue), jUpdate));
}

TEST_F(Update, WholeRecordWithTransientMembersGoesBackAsItWas) {
  add(task("a", R"({"status":{"running":[1]},"last_exit_info":{},"operation":"x"})"));
  Json::Value jTask;
  ASSERT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jTask));
  Json::Value jWritten = jTask;
  jWritten["strScriptName_tmp"] = "/tmp/s";
  jWritten["result"]["pid"] = 5;
  EXPECT_EQ(1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), jWritten));
  Json::Value jRead;
  ASSERT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jRead));
  EXPECT_EQ(text(jTask), text(jRead));
}

TEST_F(Update, OnlyMembersThatAreNoColumnsChangesNothing) {
  add(task("a"));
  EXPECT_EQ(0, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"strExitCode_tmp":"x"})")));
  EXPECT_EQ(0, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse("{}")));
}

TEST_F(Update, SameNameAloneStillCountsTheRecord) {
  add(task("a"));
  EXPECT_EQ(1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"task_name":"a"})")));
  EXPECT_EQ(0, m_tasks.recUpdateByFilter(parse(R"({"task_name":"b"})"), parse(R"({"task_name":"b"})")));
}

TEST_F(Update, NewNameCarriesTheRunsAlong) {
  add(task("old"));
  Json::Value jRun;
  ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"old"})"), jRun));
  EXPECT_EQ(1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"old"})"), parse(R"({"task_name":"new"})")));
  ASSERT_EQ(0, m_results.recGetOne(parse(R"({"task_name":"new"})"), jRun));
  EXPECT_EQ(1, jRun["result_id"].asInt());
}

TEST_F(Update, TakenNameIsRefused) {
  add(task("a"));
  add(task("b"));
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"task_name":"b"})")));
  expectFailure("task, recUpdateByFilter: UNIQUE constraint failed: task.task_name");
  EXPECT_EQ("2", queryText(m_pDb.get(), "SELECT count(*) FROM task"));
}

TEST_F(Update, ValueThatIsNoObjectIsRefused) {
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse("{}"), parse("[]")));
  expectFailure("task, recUpdateByFilter: the update is not an object");
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse("null"), parse("{}")));
  expectFailure("task, recUpdateByFilter: the filter is not an object");
}

TEST_F(Delete, TakesOnlyTheKeyOfTheRecord) {
  add(task("a", R"({"event":"bootup"})"));
  EXPECT_EQ(1, m_tasks.recDelete(parse(R"({"task_name":"a","event":"other","zzz":1})"), true));
  EXPECT_EQ("0", queryText(m_pDb.get(), "SELECT count(*) FROM task"));
}

TEST_F(Delete, MissingRecordIsAFailureOnlyWhenItMustExist) {
  EXPECT_EQ(0, m_tasks.recDelete(parse(R"({"task_name":"a"})"), false));
  EXPECT_EQ(-1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), true));
  expectFailure("task, recDelete: no such record");
  EXPECT_EQ(ENOENT, KLIBCErrGet());
}

TEST_F(Delete, TakesTheHistoryAlong) {
  add(task("a"));
  add(task("b"));
  Json::Value jRun;
  ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"a"})"), jRun));
  ASSERT_EQ(0, m_results.recCreate(parse(R"({"task_name":"b"})"), jRun));
  EXPECT_EQ(1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), true));
  EXPECT_EQ("b", queryText(m_pDb.get(), "SELECT group_concat(task_name) FROM task_result"));
}

TEST_F(Delete, RecordWithoutItsKeyIsRefused) {
  add(task("a"));
  for (const char* szRecord : {"{}", R"({"event":""})", R"({"task_name":null})"}) {
    EXPECT_EQ(-1, m_tasks.recDelete(parse(szRecord), false));
    expectFailure("task, recDelete: the record has no key task_name");
  }
  EXPECT_EQ(-1, m_tasks.recDelete(parse(R"({"task_name":7})"), false));
  expectFailure("task, recDelete: column task_name: 7 does not fit the type text");
  EXPECT_EQ("1", queryText(m_pDb.get(), "SELECT count(*) FROM task"));
}

TEST_F(Delete, DestructorDoesNotTouchTheClosedDatabase) {
  auto pHandle = std::make_unique<OrvaJsonDbApi>(m_pDb.get(), "task", installedDefinitions(), "");
  Json::Value jOut;
  ASSERT_EQ(0, pHandle->recList(Json::Value(Json::objectValue), jOut));
  // SQLite refuses to close a connection with statements that were not finalised.
  ASSERT_EQ(SQLITE_OK, sqlite3_close(m_pDb.release()));
  pHandle.reset();
}

namespace {

// Calls itself by listing, and allows the given listings.
struct Guard {
  static int ask(void* pThis) {
    auto& guard = *static_cast<Guard*>(pThis);
    if (++guard.cAsked == 1) {
      Json::Value jOut;
      EXPECT_EQ(guard.iAnswer, guard.api.recList(parse("{}"), jOut));
    }
    return guard.iAnswer;
  }
  ~Guard() { ORVAStoreAskBeforeList(nullptr, nullptr); }

  OrvaJsonDbApi& api;
  int iAnswer = 0;
  int cAsked = 0;
};

}  // namespace

TEST_F(List, HostIsAskedBeforeEachListAndMayListItself) {
  add(task("a"));
  Guard guard{m_tasks};
  ORVAStoreAskBeforeList(&Guard::ask, &guard);
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  EXPECT_EQ(1U, jOut.size());
  EXPECT_EQ(2, guard.cAsked);
  EXPECT_EQ(0, m_tasks.recGetOne(parse("{}"), jOut));
  EXPECT_EQ(2, guard.cAsked);
}

TEST_F(List, HostRemovesARecordFromAList) {
  add(task("a"));
  add(task("b"));
  struct Hider {
    static void onListed(void* pThis, OrvaJsonDbApi* pStore, Json::Value* pRecords) {
      EXPECT_EQ(static_cast<Hider*>(pThis)->pTasks, pStore);
      Json::Value jFirst;
      EXPECT_TRUE(pRecords->removeIndex(0, &jFirst));
      EXPECT_EQ("a", jFirst["task_name"].asString());
    }
    ~Hider() { ORVAStoreOnListed(nullptr, nullptr); }
    OrvaJsonDbApi* pTasks;
  } hider{&m_tasks};
  ORVAStoreOnListed(&Hider::onListed, &hider);
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  ASSERT_EQ(1U, jOut.size());
  EXPECT_EQ("b", jOut[0]["task_name"].asString());
  EXPECT_EQ(0, m_tasks.recGetOne(parse(R"({"task_name":"a"})"), jOut));
  EXPECT_EQ("a", jOut["task_name"].asString());
}

TEST_F(List, HostHasAListFail) {
  Guard guard{m_tasks, -1};
  ORVAStoreAskBeforeList(&Guard::ask, &guard);
  Json::Value jOut = "untouched";
  EXPECT_EQ(-1, m_tasks.recList(parse("{}"), jOut));
  // The guard's own listing comes first.
  expectLog(
      std::vector<std::string>(2, "3 orvaplatform: record store, table task, recList: the host refused the listing"));
  EXPECT_EQ("untouched", jOut.asString());
  ORVAStoreAskBeforeList(nullptr, nullptr);
  EXPECT_EQ(0, m_tasks.recList(parse("{}"), jOut));
}
