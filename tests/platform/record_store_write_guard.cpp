// The host's function that is called before a record is written.

#include "record_store_fixture.h"

namespace {

// A host that remembers what is written, and changes it.
class WriteGuard : public RecordStore {
protected:
  WriteGuard() { ORVAStoreOnWrite(&onWrite, this); }
  ~WriteGuard() override { ORVAStoreOnWrite(nullptr, nullptr); }

  static void onWrite(void* pContext, OrvaJsonDbApi* pStore, const Json::Value* pFilter, Json::Value* pRecord) {
    auto& guard = *static_cast<WriteGuard*>(pContext);
    guard.m_calls.push_back((pStore == &guard.m_tasks ? "task " : "run ") + (pFilter ? text(*pFilter) : "new") + " " +
                            text(*pRecord));
    for (const std::string& strName : guard.m_jAdded.getMemberNames()) {
      (*pRecord)[strName] = guard.m_jAdded[strName];
    }
    guard.m_pOther = std::exchange(guard.m_pOther, nullptr) ? guard.writeAnother() : nullptr;
  }

  // The host's own write, which would be endless if it called the host again.
  void* writeAnother() {
    EXPECT_EQ(1, m_tasks.recUpdateByFilter(parse(R"({"task_name":"a"})"), parse(R"({"description":"host"})")));
    return nullptr;
  }

  Json::Value run(int iResult) {
    Json::Value jRun;
    EXPECT_EQ(0, m_results.recGetOne(parse(R"({"result_id":)" + std::to_string(iResult) + "}"), jRun));
    return jRun;
  }

  std::vector<std::string> m_calls;
  Json::Value m_jAdded = parse("{}");
  void* m_pOther = nullptr;
};

const char* const NEW_RUN = R"({"task_name":"a","pid":7})";

}  // namespace

TEST_F(WriteGuard, SeesEveryWriteWithItsStoreAndItsFilter) {
  Json::Value jOut;
  ASSERT_EQ(0, m_tasks.recCreate(parse(R"({"task_name":"a","owner":0})"), jOut));
  ASSERT_EQ(0, m_results.recCreate(parse(NEW_RUN), jOut));
  ASSERT_EQ(1, m_results.recUpdateByFilter(parse(R"({"result_id":1})"), parse(R"({"pid":8})")));
  EXPECT_THAT(m_calls,
              testing::ElementsAre(R"(task new {"owner":0,"task_name":"a"})", R"(run new {"pid":7,"task_name":"a"})",
                                   R"(run {"result_id":1} {"pid":8})"));
}

TEST_F(WriteGuard, ItsAdditionsAreWrittenInTheSameWrite) {
  add(task("a"));
  m_jAdded = parse(R"({"boot_id":"b","start_ticks":5,"pid":9})");
  const Json::Value jIn = parse(NEW_RUN);
  Json::Value jOut;
  ASSERT_EQ(0, m_results.recCreate(jIn, jOut));
  EXPECT_EQ("b", jOut["boot_id"].asString());
  EXPECT_EQ(9, jOut["pid"].asInt()) << "the copy counts";
  EXPECT_EQ(parse(NEW_RUN), jIn) << "the caller's record";
  m_jAdded = parse(R"({"shell_status":-1,"cpu_usec":9007199254740993,"memory_peak":1,"io_read":2,"io_written":3})");
  const Json::Value jUpdate = parse(R"({"stop_time":6})");
  ASSERT_EQ(1, m_results.recUpdateByFilter(parse(R"({"result_id":1})"), jUpdate));
  EXPECT_EQ(parse(R"({"stop_time":6})"), jUpdate);
  const Json::Value jRun = run(1);
  EXPECT_EQ(-1, jRun["shell_status"].asInt());
  EXPECT_EQ(9007199254740993, jRun["cpu_usec"].asInt64());
  EXPECT_EQ(1, jRun["memory_peak"].asInt());
  EXPECT_EQ(2, jRun["io_read"].asInt());
  EXPECT_EQ(3, jRun["io_written"].asInt());
  EXPECT_EQ(6, jRun["stop_time"].asInt());
}

TEST_F(WriteGuard, RecordMayBeTheOutValue) {
  add(task("a"));
  m_jAdded = parse(R"({"boot_id":"b"})");
  Json::Value jBoth = parse(NEW_RUN);
  ASSERT_EQ(0, m_results.recCreate(jBoth, jBoth));
  EXPECT_EQ("b", jBoth["boot_id"].asString());
}

TEST_F(WriteGuard, ItsOwnWritesDoNotCallIt) {
  add(task("a"));
  m_calls.clear();
  m_pOther = this;
  Json::Value jOut;
  ASSERT_EQ(0, m_results.recCreate(parse(NEW_RUN), jOut));
  EXPECT_EQ(1U, m_calls.size());
  ASSERT_EQ(1, m_results.recUpdateByFilter(parse(R"({"result_id":1})"), parse(R"({"pid":8})")));
  EXPECT_EQ(2U, m_calls.size()) << "later writes do";
}

TEST_F(WriteGuard, IsCalledOnceHoweverOftenAWriteIsTried) {
  add(task("a"));
  m_calls.clear();
  TurnedClock clock;
  const Database pOther = openDatabase(m_folder.path("test.db"));
  runSql(pOther.get(), "BEGIN IMMEDIATE");
  clock.atPause(3, [](void* pDb) { runSql(static_cast<sqlite3*>(pDb), "COMMIT"); }, pOther.get());
  Json::Value jOut;
  EXPECT_EQ(0, m_results.recCreate(parse(NEW_RUN), jOut));
  EXPECT_EQ(3U, clock.pauses().size());
  EXPECT_EQ(1U, m_calls.size());
}

TEST_F(WriteGuard, IsNotAskedForReadsDeletionsAndRecordsThatAreNoObjects) {
  add(task("a"));
  m_calls.clear();
  Json::Value jOut;
  EXPECT_EQ(0, m_tasks.recGetOne(parse("{}"), jOut));
  EXPECT_EQ(0, m_tasks.recList(parse("{}"), jOut));
  EXPECT_EQ(-1, m_tasks.recCreate(Json::Value("a"), jOut));
  expectFailure("task, recCreate: the record is not an object");
  EXPECT_EQ(-1, m_tasks.recUpdateByFilter(parse("{}"), parse("[]")));
  expectFailure("task, recUpdateByFilter: the update is not an object");
  EXPECT_EQ(1, m_tasks.recDelete(parse(R"({"task_name":"a"})"), true));
  EXPECT_THAT(m_calls, testing::IsEmpty());
}

TEST_F(WriteGuard, CanBeSwitchedOff) {
  ORVAStoreOnWrite(nullptr, nullptr);
  add(task("a"));
  EXPECT_THAT(m_calls, testing::IsEmpty());
}
