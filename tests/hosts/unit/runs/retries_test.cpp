/// Which runs of an execution are repeated.

#include "common/runs/retries.h"

#include <gmock/gmock.h>

#include "common/runs/outcome.h"
#include "common/text/json_members.h"

using namespace Host;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr std::chrono::seconds AT_ONCE(0);
constexpr std::chrono::hours LATER(1);

Json::Value exitOf(int iExit, const char* szEndedBy = "") {
  return objectOf({{"stop_time", 1}, {"shell_status", iExit << 8}, {"ended_by", szEndedBy}});
}

class RunRetries : public testing::Test {
protected:
  /// \return the members that the record of the run gets.
  Json::Value begin(const char* szTask, Json::Int64 iRun) {
    Json::Value jRun(Json::objectValue);
    m_retries.begin(szTask, jRun);
    m_retries.setNumber(szTask, iRun);
    return jRun;
  }

  Retries m_retries;
};

}  // namespace

TEST_F(RunRetries, FailedRunIsRepeatedAsOftenAsItsTaskAllows) {
  EXPECT_EQ(begin("a", 7), Json::Value(Json::objectValue));
  EXPECT_TRUE(m_retries.end("a", exitOf(1), 2, AT_ONCE));
  EXPECT_TRUE(m_retries.isOpen("a"));
  EXPECT_THAT(m_retries.takeDue(), ElementsAre("a"));
  EXPECT_EQ(begin("a", 9), objectOf({{"attempt", 2}, {"retry_of", 7}}));
  EXPECT_TRUE(m_retries.isOpen("a"));
  EXPECT_TRUE(m_retries.end("a", exitOf(1), 2, AT_ONCE));
  EXPECT_EQ(begin("a", 10), objectOf({{"attempt", 3}, {"retry_of", 7}}));
  EXPECT_FALSE(m_retries.end("a", exitOf(1), 2, AT_ONCE));
  EXPECT_FALSE(m_retries.isOpen("a"));
}

TEST_F(RunRetries, SuccessEndsThem) {
  begin("a", 7);
  m_retries.end("a", exitOf(1), 2, AT_ONCE);
  begin("a", 8);
  EXPECT_FALSE(m_retries.end("a", exitOf(0), 2, AT_ONCE));
  EXPECT_FALSE(m_retries.isOpen("a"));
}

TEST_F(RunRetries, RunThatSomebodyEndedIsNotRepeated) {
  for (const char* szEndedBy : {ENDED_STOPPED, ENDED_BUDGET, ENDED_SHUTDOWN}) {
    begin(szEndedBy, 1);
    EXPECT_FALSE(m_retries.end(szEndedBy, exitOf(1, szEndedBy), 5, AT_ONCE)) << szEndedBy;
  }
  for (const char* szEndedBy : {ENDED_TIME_LIMIT, ENDED_KILLED}) {
    begin(szEndedBy, 1);
    EXPECT_TRUE(m_retries.end(szEndedBy, exitOf(1, szEndedBy), 5, AT_ONCE)) << szEndedBy;
  }
}

TEST_F(RunRetries, TaskIsDueWhenItsTimeHasCome) {
  begin("a", 1);
  begin("b", 2);
  EXPECT_FALSE(m_retries.due());
  m_retries.end("a", exitOf(1), 1, LATER);
  EXPECT_GT(m_retries.due().value(), Retries::Clock::now());
  m_retries.end("b", exitOf(1), 1, AT_ONCE);
  EXPECT_LE(m_retries.due().value(), Retries::Clock::now());
  EXPECT_THAT(m_retries.takeDue(), ElementsAre("b"));
  EXPECT_TRUE(m_retries.isOpen("a"));
}

TEST_F(RunRetries, TaskThatDidNotBeginWhenItWasDueIsGivenUp) {
  begin("a", 1);
  m_retries.end("a", exitOf(1), 1, AT_ONCE);
  EXPECT_THAT(m_retries.takeDue(), ElementsAre("a"));
  EXPECT_TRUE(m_retries.isOpen("a"));
  EXPECT_THAT(m_retries.takeDue(), IsEmpty());
  EXPECT_FALSE(m_retries.isOpen("a"));
}

TEST_F(RunRetries, TaskThatWaitsCanBeMadeDue) {
  begin("a", 1);
  m_retries.end("a", exitOf(1), 1, LATER);
  EXPECT_THAT(m_retries.takeDue(), IsEmpty());
  m_retries.hasten("a");
  EXPECT_THAT(m_retries.takeDue(), ElementsAre("a"));
  m_retries.hasten("a");
  EXPECT_THAT(m_retries.takeDue(), IsEmpty());
}
