/// The progress of an execution, from the records of its runs.

#include "common/executions/progress.h"

#include <gmock/gmock.h>

#include "common/executions/execution_plan.h"
#include "common/store/session.h"
#include "common/text/json_members.h"
#include "fresh_host.h"
#include "stored.h"

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ProgressOfRuns : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_session.emplace(Session::Store::CREATE);
    for (const char* szTask : {"a", "b"}) {
      HostTest::addTask(*m_session, szTask);
      GraphTask task;
      task.strName = szTask;
      m_plan.vecTasks.push_back(task);
    }
  }

  Json::Int64 addRun(const std::string& strTask, pid_t pid) { return HostTest::addRun(*m_session, strTask, pid); }

  void endRun(Json::Int64 iRun, int iStatus) {
    HostTest::changeRun(*m_session, iRun, objectOf({{"stop_time", 5}, {"shell_status", iStatus}}));
  }

  /// The numbers of the new runs.
  static std::vector<Json::Int64> numbersOf(const std::vector<Json::Value>& vecRuns) {
    std::vector<Json::Int64> vecNumbers;
    for (const Json::Value& jRun : vecRuns) {
      vecNumbers.push_back(intOf(jRun, "result_id"));
    }
    return vecNumbers;
  }

  std::optional<Session> m_session;
  ExecutionPlan m_plan;
  std::set<pid_t> m_setChildren;
};

}  // namespace

TEST_F(ProgressOfRuns, EachBeginAndEachEndIsNewOnce) {
  Progress progress(m_plan);
  const auto poll = [&] { return numbersOf(progress.poll(*m_session, [&] { return m_setChildren; })); };
  EXPECT_THAT(poll(), IsEmpty());
  m_setChildren = {7, 8};
  const Json::Int64 iFirst = addRun("a", 7);
  EXPECT_THAT(poll(), ElementsAre(iFirst));
  EXPECT_THAT(poll(), IsEmpty());
  const Json::Int64 iSecond = addRun("b", 8);
  endRun(iFirst, 0);
  EXPECT_THAT(poll(), ElementsAre(iFirst, iSecond));
  endRun(iSecond, 0);
  EXPECT_THAT(poll(), ElementsAre(iSecond));
  EXPECT_THAT(poll(), IsEmpty());
}

TEST_F(ProgressOfRuns, RunsOfOtherExecutionsAndEarlierOnesDoNotCount) {
  m_setChildren = {7};
  m_plan.iLastRun = addRun("a", 7);
  addRun("a", 9);
  Progress progress(m_plan);
  EXPECT_THAT(progress.poll(*m_session, [&] { return m_setChildren; }), IsEmpty());
  EXPECT_TRUE(progress.runs().empty());
}

TEST_F(ProgressOfRuns, FailedRunsAndTasksThatAreNotStartedAreKnown) {
  m_setChildren = {7};
  Progress progress(m_plan);
  EXPECT_THAT(progress.notStarted(), ElementsAre("a", "b"));
  const Json::Int64 iRun = addRun("b", 7);
  endRun(iRun, 1 << 8);
  progress.poll(*m_session, [&] { return m_setChildren; });
  EXPECT_THAT(progress.notStarted(), ElementsAre("a"));
  EXPECT_THAT(numbersOf(progress.failedRuns()), ElementsAre(iRun));
}
