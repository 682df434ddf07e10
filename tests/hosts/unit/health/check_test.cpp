/// All checks together, and the repair.

#include "common/health/check.h"

#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <sqlite3.h>

#include "common/answers/finding_text.h"
#include "common/answers/server_answers.h"
#include "common/store/session.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "test_group.h"

using namespace Host;
using testing::Contains;
using testing::Not;

namespace {

class Checks : public testing::Test {
protected:
  void SetUp() override { HostTest::freshHost(); }

  void createStore(const std::string& strSql) {
    const Session session(Session::Store::CREATE);
    ASSERT_EQ(SQLITE_OK, sqlite3_exec(session.db(), strSql.c_str(), nullptr, nullptr, nullptr));
  }

  std::vector<std::string> codes() {
    std::vector<std::string> vecCodes;
    for (const HealthFinding& finding : checkInstallation()) {
      EXPECT_NE("", findingText(finding)) << finding.strCode;
      EXPECT_NE("", findingAdvice(finding)) << finding.strCode;
      vecCodes.push_back(finding.strCode);
    }
    return vecCodes;
  }
};

}  // namespace

TEST_F(Checks, MissingStoreIsAFindingAndNothingToRepair) {
  EXPECT_THAT(codes(), Contains("store_missing"));
  EXPECT_NE("", repairInstallation().strStoreProblem);
}

TEST_F(Checks, RunWithoutAProcessIsFoundAndClosed) {
  createStore(
      "insert into task (task_name, event, owner) values ('it', 'ev', 0);"
      "insert into task_result (task_name, start_time, pid, event_fire_time, trigger_event) "
      "values ('it', 1000, 2147483647, 1000, 'ev')");
  EXPECT_THAT(codes(), Contains("run_without_process"));
  const Repairs repairs = repairInstallation();
  EXPECT_EQ(1U, repairs.vecRuns.size());
  EXPECT_EQ("", repairs.strProblem);
  EXPECT_THAT(codes(), Not(Contains("run_without_process")));
}

TEST_F(Checks, MissingControlGroupsAreFoundUntilTheyAreMounted) {
  if (const std::string strWhy = HostTest::TestGroup::whyNone(); !strWhy.empty()) {
    GTEST_SKIP() << strWhy;
  }
  EXPECT_THAT(codes(), Not(Contains("no_control_groups")));
  ASSERT_EQ(0, std::system("umount --all --lazy --types cgroup2"));
  EXPECT_THAT(codes(), Contains("no_control_groups"));
  const HealthFinding finding{HealthFinding::Severity::WARNING, "no_control_groups", "", Json::objectValue};
  ASSERT_EQ(0, std::system(findingAdvice(finding).c_str()));
  EXPECT_THAT(codes(), Not(Contains("no_control_groups")));
}

TEST_F(Checks, StoreThatBreaksItsOwnRulesIsDamaged) {
  createStore("pragma foreign_keys = off; insert into task_result (task_name, stop_time) values ('ghost', 1)");
  EXPECT_THAT(codes(), Contains("store_damaged"));
}

TEST_F(Checks, StoreThatOthersCanChangeIsFound) {
  createStore("");
  std::filesystem::permissions(DATABASE_PATH, std::filesystem::perms::others_write, std::filesystem::perm_options::add);
  EXPECT_THAT(codes(), Contains("store_mode"));
}

TEST_F(Checks, AnswerTellsProblemsFromWarnings) {
  const HealthFinding warning{HealthFinding::Severity::WARNING, "timer_disabled", PRUNE_TIMER, {}};
  EXPECT_TRUE(checkForPrograms({warning})["ok"].asBool());
  const HealthFinding problem{HealthFinding::Severity::PROBLEM, "timer_failed", MAIL_TIMER, {}};
  const Json::Value jAnswer = checkForPrograms({warning, problem});
  EXPECT_FALSE(jAnswer["ok"].asBool());
  EXPECT_EQ("warning", jAnswer["findings"][0]["severity"].asString());
  EXPECT_EQ("systemctl enable --now eorva-prune.timer", jAnswer["findings"][0]["advice"].asString());
  EXPECT_EQ("eorva-mail-flush.timer has failed: mail that could not be sent is not sent again",
            jAnswer["findings"][1]["text"].asString());
}
