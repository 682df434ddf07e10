/// Times after 2038-01-19, when the stored numbers begin again below 0.

#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "clock.h"
#include "common/answers/run_answers.h"
#include "common/answers/task_answers.h"
#include "common/config/settings.h"
#include "common/executions/execution_watch.h"
#include "common/executions/start_execution.h"
#include "common/executions/turns.h"
#include "common/output/retention.h"
#include "common/reasons/explanation.h"
#include "common/runs/run_query.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/paths.h"
#include "common/text/amounts.h"
#include "common/text/stored_time.h"
#include "fresh_host.h"
#include "stored.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

constexpr char PLACE[] = "/srv/late_times";
/// 2038-01-19 03:13:58, ten seconds before the end of 32 bits.
constexpr std::time_t BEFORE = 2'147'483'638;
constexpr std::time_t IN_2039 = 2'180'000'000;
constexpr std::time_t IN_2100 = 4'102'500'000;

class LateTimes : public testing::TestWithParam<std::time_t> {
protected:
  void SetUp() override {
    HostTest::freshHost();
    HostTest::setWallClock(GetParam());
    setenv("TZ", "UTC", 1);
    tzset();
    std::filesystem::create_directories(PLACE);
    std::filesystem::create_directories("/etc/orva");
    OrvaTest::writeFile("/etc/orva/shares.conf", fmt::format("[kept]\npath = {}\n", PLACE));
    OrvaTest::writeFile(CONFIG_PATH, R"({"eorvascheduler": {"type": "eorvascheduler", "output_path": "kept"}})");
    const Session session(Session::Store::CREATE);
    HostTest::addTask(session, "a", "echo done");
    m_iOld = HostTest::addRun(session, "a", 0, objectOf({{"start_time", BEFORE}, {"stop_time", BEFORE + 2}}));
  }

  void TearDown() override {
    OrvaTest::endChildren();
    std::filesystem::remove_all(PLACE);
    std::filesystem::remove("/etc/orva/shares.conf");
    HostTest::setWallClock(m_real);
  }

  static Json::Value fire() {
    ExecutionRequest request;
    request.strName = "bootup";
    const PreparedExecution prepared(request);
    Execution execution = prepared.start();
    EXPECT_EQ(endOf(followExecution(execution, nullptr, {[] {}, [](const std::string&) {}})), ExecutionEnd::DONE);
    Session session;
    return newestRunOf(session, "a");
  }

  /// A run folder with 64 KiB of output, as old as it says.
  static void keepOutput(std::time_t start) {
    const std::string strFolder = fmt::format("{}/a/{}", PLACE, storedTime(start));
    std::filesystem::create_directories(strFolder);
    OrvaTest::writeFile(strFolder + "/output.log", std::string(65536, 'x'));
    const timespec times[] = {{start, 0}, {start, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, strFolder.c_str(), times, 0), 0);
  }

  std::vector<Json::Int64> found(std::optional<std::time_t> since, std::optional<std::time_t> until) const {
    RunQuery query;
    query.since = since;
    query.until = until;
    Session session;
    std::vector<Json::Int64> vecRuns;
    for (const Json::Value& jRun : newestRuns(session, query).vecRuns) {
      vecRuns.push_back(intOf(jRun, "result_id"));
    }
    return vecRuns;
  }

  std::time_t m_real = std::time(nullptr);
  Json::Int64 m_iOld = 0;
};

}  // namespace

TEST_P(LateTimes, ARunIsShownWithItsTrueTimes) {
  const Json::Value jRun = fire();
  const Json::Value jAnswer = runForPrograms(jRun);
  EXPECT_GE(intOf(jAnswer, "start_time"), GetParam());
  EXPECT_GE(intOf(jAnswer, "event_fire_time"), GetParam());
  EXPECT_LT(intOf(jAnswer, "duration", -1), 60);
  EXPECT_GE(intOf(jAnswer, "duration", -1), 0);
  EXPECT_THAT(timeText(intOf(jRun, "start_time")), HasSubstr(GetParam() == IN_2039 ? "2039-" : "2100-"));
  Session session;
  EXPECT_GE(intOf(taskForPrograms(requireTask(session, "a")), "last_start_time"), GetParam());
}

TEST_P(LateTimes, ConditionsOnTimesFindTheRuns) {
  const Json::Int64 iNew = intOf(fire(), "result_id");
  EXPECT_THAT(found(GetParam() - 60, std::nullopt), ElementsAre(iNew));
  EXPECT_THAT(found(std::nullopt, BEFORE + 60), ElementsAre(m_iOld));
  EXPECT_THAT(found(BEFORE, GetParam() + 600), ElementsAre(iNew, m_iOld));
}

TEST_P(LateTimes, ARunOverTheEndOfTheNumbersTookItsTrueTime) {
  EXPECT_EQ(secondsOf(objectOf({{"start_time", BEFORE}, {"stop_time", storedTime(BEFORE + 100)}})), 100);
}

TEST_P(LateTimes, TwoRunsOfASecondDoNotShareAFolder) {
  Session session;
  const std::time_t now = std::time(nullptr);
  for (const std::time_t second : {now, now + 1}) {
    HostTest::addRun(session, "a", 0,
                     objectOf({{"start_time", storedTime(second)}, {"stop_time", storedTime(second)}}));
  }
  Turns turns;
  turns.takeToStart(session, {"a"});
  EXPECT_GT(std::time(nullptr), now + 1);
}

TEST_P(LateTimes, TheLastFiringIsExplained) {
  fire();
  const Json::Int64 iNew = intOf(fire(), "result_id");
  Session session;
  EXPECT_EQ(intOf(explainTask(session, "a").jRun, "result_id"), iNew);
}

TEST_P(LateTimes, TheOldestOutputIsRemovedFirst) {
  Settings settings;
  settings.cRetentionRuns = KEEP_ALL;
  settings.cbRetentionOutput = 100'000;
  Session session;
  const Json::Int64 iNew = storedTime(GetParam());
  HostTest::addRun(session, "a", 0, objectOf({{"start_time", iNew}, {"stop_time", iNew}}));
  keepOutput(BEFORE);
  keepOutput(GetParam());
  const PruneResult result = pruneRuns(session, settings, false);
  ASSERT_EQ(result.queOutputs.size(), 1U);
  EXPECT_EQ(result.queOutputs[0].iStartTime, BEFORE);
  EXPECT_TRUE(std::filesystem::exists(fmt::format("{}/a/{}", PLACE, iNew)));
}

INSTANTIATE_TEST_SUITE_P(In, LateTimes, testing::Values(IN_2039, IN_2100),
                         [](const auto& param) { return param.param == IN_2039 ? "2039" : "2100"; });
