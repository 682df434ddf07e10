// The catalogue on a real database: renamed tasks, requests that fail half-way, and all relations.

#include <memory>
#include <sqlite3.h>
#include <string>
#include <vector>

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "support/files.h"
#include "support/private_view.h"

// The library must be able to see them.
__attribute__((visibility("default"))) bool blLogToStdout = true;
__attribute__((visibility("default"))) bool blDebugOutput = false;

namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

class Catalogue : public testing::Test {
protected:
  Catalogue() {
    OrvaTest::freshProduct();
    OrvaTest::installShareFiles();
    OrvaTest::writeFile("/usr/orva/etc/eorvascheduler/keep", "");
    open();
  }
  ~Catalogue() override {
    EXPECT_EQ(close(), 0);
    OrvaTest::freshProduct();
  }

  void open() {
    Json::Value jConfig;
    ASSERT_EQ(initConfig("task", jConfig, &m_pDb, &m_pApi), 0);
    ASSERT_EQ(initConfig("task_result", jConfig, &m_pDb, &m_pApiResult), 0);
  }
  int close() { return freeConfig(&m_pDb, &m_pApi, &m_pApiResult); }
  void reopen() {
    ASSERT_EQ(close(), 0);
    open();
  }

  void add(const std::string& strName, const std::string& strWaitsFor = "", const std::string& strEvent = "bootup") {
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = strName;
    jTask["event"] = strEvent;
    jTask["enable"] = true;
    jTask["depend_on_task"] = strWaitsFor;
    jTask["owner"] = 0;
    jTask["operation_type"] = "script";
    jTask["operation"] = "exit 0\n";
    jTask["run_the_same_time"] = false;
    jTask["notify_enable"] = false;
    Json::Value jOut;
    ASSERT_EQ(recCreate(m_pApi, jTask, jOut), 0) << strName;
  }
  void addRun(const std::string& strName) {
    Json::Value jRun(Json::objectValue);
    jRun["task_name"] = strName;
    jRun["start_time"] = 1;
    Json::Value jOut;
    ASSERT_GE(m_pApiResult->recCreate(jRun, jOut), 0);
  }

  int rename(const std::string& strOld, const std::string& strNew) {
    Json::Value jIn = named(strNew);
    jIn["old_task_name"] = strOld;
    return recUpdate(m_pApi, jIn, m_pDb);
  }
  int remove(const std::string& strName) {
    Json::Value jIn = named(strName);
    return recDelete(m_pApi, jIn, m_pDb);
  }
  std::vector<std::string> related(const std::string& strName, int iType) {
    Json::Value jIn = named(strName);
    jIn["relate_type"] = iType;
    Json::Value jOut;
    EXPECT_EQ(recListRelate(m_pApi, jIn, jOut, m_pDb), 0);
    return names(jOut);
  }

  std::vector<std::string> tasks() { return names(list(m_pApi)); }
  std::vector<std::string> runs() { return names(list(m_pApiResult)); }
  std::string waitsFor(const std::string& strName) {
    Json::Value jOut;
    EXPECT_EQ(m_pApi->recGetOne(named(strName), jOut), 0);
    return jOut["depend_on_task"].asString();
  }
  void sql(const char* szSql) { ASSERT_EQ(sqlite3_exec(m_pDb, szSql, nullptr, nullptr, nullptr), SQLITE_OK) << szSql; }
  bool isInTransaction() const { return sqlite3_get_autocommit(m_pDb) == 0; }

  sqlite3* m_pDb = nullptr;
  OrvaJsonDbApi* m_pApi = nullptr;
  OrvaJsonDbApi* m_pApiResult = nullptr;

private:
  static Json::Value named(const std::string& strName) {
    Json::Value jIn(Json::objectValue);
    jIn["task_name"] = strName;
    return jIn;
  }
  static Json::Value list(OrvaJsonDbApi* pApi) {
    Json::Value jOut;
    EXPECT_GE(pApi->recList(Json::Value(Json::objectValue), jOut), 0);
    return jOut;
  }
  static std::vector<std::string> names(const Json::Value& jList) {
    std::vector<std::string> vecNames;
    for (const Json::Value& jRow : jList) {
      vecNames.push_back(jRow["task_name"].asString());
    }
    return vecNames;
  }
};

}  // namespace

TEST_F(Catalogue, ANewNameReachesEveryListAndEveryRun) {
  add("A");
  add("B", "[A]");
  add("C", "[B][A]");
  addRun("A");
  addRun("B");
  EXPECT_EQ(rename("A", "first of all"), 0);
  EXPECT_FALSE(isInTransaction());
  EXPECT_THAT(tasks(), UnorderedElementsAre("first of all", "B", "C"));
  EXPECT_EQ(waitsFor("B"), "[first of all]");
  EXPECT_EQ(waitsFor("C"), "[B][first of all]");
  EXPECT_THAT(runs(), ElementsAre("first of all", "B"));
}

TEST_F(Catalogue, ADeletedTaskLeavesTheListsAndTakesItsRunsAlong) {
  add("A");
  add("B", "[A]");
  addRun("A");
  addRun("B");
  EXPECT_EQ(remove("A"), 0);
  EXPECT_THAT(tasks(), ElementsAre("B"));
  EXPECT_EQ(waitsFor("B"), "");
  EXPECT_THAT(runs(), ElementsAre("B"));
}

TEST_F(Catalogue, AFailureHalfWayIsTakenBackWhenTheStoreIsClosed) {
  add("A");
  add("B", "[A]");
  add("C", "[A]");
  addRun("A");
  sql("create trigger refusal before update on task when old.task_name = 'C' begin select raise(abort, 'no'); end");
  EXPECT_EQ(rename("A", "Z"), -1);
  EXPECT_TRUE(isInTransaction()) << "there is no roll-back in the library";
  EXPECT_EQ(waitsFor("B"), "[Z]") << "this much had been done";
  reopen();
  EXPECT_THAT(tasks(), UnorderedElementsAre("A", "B", "C"));
  EXPECT_EQ(waitsFor("B"), "[A]");
  EXPECT_EQ(waitsFor("C"), "[A]");
  EXPECT_THAT(runs(), ElementsAre("A"));

  EXPECT_EQ(remove("A"), -1);
  reopen();
  EXPECT_THAT(tasks(), UnorderedElementsAre("A", "B", "C"));
  EXPECT_EQ(waitsFor("B"), "[A]");
  EXPECT_THAT(runs(), ElementsAre("A"));

  sql("drop trigger refusal");
  EXPECT_EQ(rename("A", "Z"), 0);
  EXPECT_EQ(waitsFor("C"), "[Z]");
}

TEST_F(Catalogue, EveryRelationIsFound) {
  // A waits for B, B for C; D waits for A; E and F are unrelated; G belongs to another event.
  add("C");
  add("B", "[C]");
  add("A", "[B]");
  add("D", "[A]");
  add("E");
  add("F", "[E]");
  add("G", "", "shutdown");
  EXPECT_THAT(related("A", RTYPE_BOTTM_UP), ElementsAre("B", "C"));
  EXPECT_THAT(related("A", RTYPE_TOP_DOWN), ElementsAre("D"));
  EXPECT_THAT(related("A", RTYPE_CANDIDATE), UnorderedElementsAre("E", "F"));
  EXPECT_THAT(related("G", RTYPE_CANDIDATE), IsEmpty());
}

TEST_F(Catalogue, AnyCharacterOfANameIsTakenAsItIs) {
  add("50% \"off\"; drop table task; --");
  add("B", "[50% \"off\"; drop table task; --]");
  add("it's");
  EXPECT_THAT(related("50% \"off\"; drop table task; --", RTYPE_TOP_DOWN), ElementsAre("B"));
  EXPECT_EQ(rename("it's", "it was"), 0);
  EXPECT_THAT(tasks(), UnorderedElementsAre("50% \"off\"; drop table task; --", "B", "it was"));
}
