/// Runs are found by task, event, owner, outcome, time and number.

#include "common/runs/run_query.h"

#include <gmock/gmock.h>

#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "fresh_host.h"

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class RunQueries : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    const Session session(Session::Store::CREATE);
    addTask(session, "it's", 0);
    addTask(session, "b", 1000);
    addRun(session, "it's", "bootup", 100, 0, 1000);
    addRun(session, "b", "bootup", 200, 1, 0);
    addRun(session, "b", "on_demand", 300, 0, 1000);
  }

  static void addTask(const Session& session, const char* szName, int iOwner) {
    Json::Value jTask(Json::objectValue);
    jTask["task_name"] = szName;
    jTask["event"] = "bootup";
    jTask["owner"] = iOwner;
    jTask["operation"] = "true";
    jTask["operation_type"] = "script";
    Json::Value jOut;
    ASSERT_EQ(session.tasks()->recCreate(jTask, jOut), 0);
  }

  static void addRun(const Session& session, const char* szTask, const char* szEvent, int iStart, int iExit,
                     int iOwner) {
    Json::Value jRun(Json::objectValue);
    jRun["task_name"] = szTask;
    jRun["trigger_event"] = szEvent;
    jRun["start_time"] = iStart;
    jRun["stop_time"] = iStart + 5;
    jRun["owner"] = iOwner;
    jRun["exit_info"]["exit_type"] = "normal";
    jRun["exit_info"]["exit_code"] = iExit;
    Json::Value jOut;
    ASSERT_EQ(session.runs()->recCreate(jRun, jOut), 0);
  }

  /// \return the numbers of the runs.
  static std::vector<Json::Int64> find(const RunQuery& query) {
    Session session;
    std::vector<Json::Int64> vecNumbers;
    for (const Json::Value& jRun : newestRuns(session, query).vecRuns) {
      vecNumbers.push_back(intOf(jRun, "result_id"));
    }
    return vecNumbers;
  }

  RunQuery m_query;
};

}  // namespace

TEST_F(RunQueries, WithoutAConditionGiveAllTheNewestFirst) {
  EXPECT_THAT(find(m_query), ElementsAre(3, 2, 1));
}

TEST_F(RunQueries, FindATaskWhateverItsName) {
  m_query.strTask = "it's";
  EXPECT_THAT(find(m_query), ElementsAre(1));
  m_query.strTask = "its";
  EXPECT_THROW(find(m_query), Failure);
}

TEST_F(RunQueries, FindTheRunsOfAnOwnerNotThoseOfTheTasksOwner) {
  m_query.owner = 1000;
  EXPECT_THAT(find(m_query), ElementsAre(3, 1));
  m_query.owner = 1001;
  EXPECT_THAT(find(m_query), IsEmpty());
}

TEST_F(RunQueries, FindRunsByTheirOutcome) {
  m_query.outcome = Outcome::Kind::FAILED;
  EXPECT_THAT(find(m_query), ElementsAre(2));
  m_query.outcome = Outcome::Kind::RUNNING;
  EXPECT_THAT(find(m_query), IsEmpty());
}

TEST_F(RunQueries, CombineConditions) {
  m_query.strEvent = "bootup";
  m_query.since = 200;
  EXPECT_THAT(find(m_query), ElementsAre(2));
  m_query.until = 199;
  EXPECT_THAT(find(m_query), IsEmpty());
}

TEST_F(RunQueries, TellWhetherThereAreOlderRuns) {
  m_query.cLimit = 2;
  Session session;
  EXPECT_TRUE(newestRuns(session, m_query).blMore);
  EXPECT_THAT(find(m_query), ElementsAre(3, 2));
  m_query.iBefore = 3;
  EXPECT_THAT(find(m_query), ElementsAre(2, 1));
  EXPECT_FALSE(newestRuns(session, m_query).blMore);
}

TEST_F(RunQueries, FindTheNewestRunOfATask) {
  Session session;
  EXPECT_EQ(intOf(newestRunOf(session, "b"), "result_id"), 3);
  EXPECT_TRUE(newestRunOf(session, "c").isNull());
  std::map<std::string, Json::Value> mapRuns = newestRunOfEach(session);
  EXPECT_EQ(mapRuns.size(), 2U);
  EXPECT_EQ(intOf(mapRuns["it's"], "result_id"), 1);
  EXPECT_EQ(intOf(mapRuns["b"], "result_id"), 3);
}
