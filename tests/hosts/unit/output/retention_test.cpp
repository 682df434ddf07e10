/// The cost of removing old runs.

#include "common/output/retention.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include "common/store/session.h"
#include "fresh_host.h"
#include "statement_steps.h"
#include "stored.h"

using namespace Host;

namespace {

class Retention : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_session.emplace(Session::Store::CREATE);
    HostTest::addTask(*m_session, "one");
    m_settings.cRetentionRuns = 10;
    m_settings.cRetentionFailedRuns = 10;
    m_settings.cbRetentionOutput = 0;
  }

  void fill(unsigned cRuns) {
    const std::string strSql = fmt::format(
        "DELETE FROM task_result; WITH RECURSIVE n(i) AS (SELECT 1 UNION ALL SELECT i + 1 FROM n WHERE i < {}) "
        "INSERT INTO task_result (result_id, task_name, start_time, stop_time, exit_info) "
        "SELECT i, 'one', i, i, '{{\"exit_code\":0,\"exit_type\":\"normal\"}}' FROM n",
        cRuns);
    ASSERT_EQ(sqlite3_exec(m_session->db(), strSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK);
  }

  unsigned stepsToPrune(unsigned cRuns, bool blDryRun) {
    fill(cRuns);
    const HostTest::StatementSteps steps(*m_session);
    EXPECT_EQ(pruneRuns(*m_session, m_settings, blDryRun).queRuns.size(), cRuns - 10);
    return steps.hundreds();
  }

  std::optional<Session> m_session;
  Settings m_settings;
};

}  // namespace

TEST_F(Retention, FourTimesTheRunsCostFourTimesTheWork) {
  for (const bool blDryRun : {true, false}) {
    const unsigned cFew = stepsToPrune(2000, blDryRun);
    EXPECT_LT(stepsToPrune(8000, blDryRun), cFew * 5) << blDryRun << " " << cFew;
  }
}

TEST_F(Retention, ATaskWhoseRunsAreAllKeptCostsLittle) {
  m_settings.cRetentionRuns = KEEP_ALL;
  fill(2000);
  const HostTest::StatementSteps steps(*m_session);
  EXPECT_TRUE(pruneRuns(*m_session, m_settings, false).queRuns.empty());
  EXPECT_LT(steps.hundreds(), 20U);
}
