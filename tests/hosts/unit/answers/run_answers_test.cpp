/// Runs as programs get them.

#include "common/answers/run_answers.h"

#include <csignal>
#include <gtest/gtest.h>

#include "common/executions/detached_start.h"
#include "common/executions/execution_plan.h"
#include "common/executions/progress.h"
#include "common/output/retention.h"
#include "common/text/json_members.h"

using namespace Host;

namespace {

Json::Value answered(const Json::Value& jRun) {
  return runForPrograms(jRun);
}

Json::Value endOf(int iStatus) {
  return answered(objectOf({{"stop_time", 2}, {"shell_status", iStatus}}))["end"];
}

}  // namespace

TEST(RunAnswers, TellHowTheScriptEnded) {
  EXPECT_EQ(endOf(0), objectOf({{"exit", 0}}));
  EXPECT_EQ(endOf(128 << 8), objectOf({{"exit", 128}}));
  EXPECT_EQ(endOf(137 << 8), objectOf({{"signal", SIGKILL}, {"name", "SIGKILL"}}));
  EXPECT_EQ(endOf(SIGTERM), objectOf({{"signal", SIGTERM}, {"name", "SIGTERM"}}));
  EXPECT_EQ(endOf(32), objectOf({{"signal", 32}, {"name", Json::Value()}}));
  EXPECT_EQ(endOf(-1), objectOf({{"not_started", true}}));
  EXPECT_EQ(answered(objectOf({{"stop_time", 2}}))["end"], Json::Value());
}

TEST(RunAnswers, HaveTheCostsOfTheRun) {
  const Json::Value jRun = answered(objectOf(
      {{"task_name", "a"}, {"cpu_usec", 12'345}, {"memory_peak", 4096}, {"io_read", 0}, {"io_written", 8192}}));
  EXPECT_EQ(jRun["cpu_seconds"], 0.012345);
  EXPECT_EQ(jRun["memory_peak"], 4096);
  EXPECT_EQ(jRun["io_read"], 0);
  EXPECT_EQ(jRun["io_written"], 8192);
}

TEST(RunAnswers, HaveAllMembersAlsoWhenTheyAreNotKnown) {
  const Json::Value jRun = answered(objectOf({{"shell_status", 0}, {"cpu_usec", 0}}));
  for (const char* szKey : {"memory_peak", "io_read", "io_written", "duration", "owner", "owner_name"}) {
    EXPECT_TRUE(jRun.isMember(szKey) && jRun[szKey].isNull()) << szKey;
  }
  for (const char* szStored : {"shell_status", "cpu_usec"}) {
    EXPECT_FALSE(jRun.isMember(szStored)) << szStored;
  }
}

TEST(RunAnswers, HaveTheOwnerTheDurationAndTheOutcome) {
  const Json::Value jRun = answered(objectOf({{"result_id", 4},
                                              {"owner", 1001},
                                              {"owner_name", "alice"},
                                              {"start_time", 10},
                                              {"stop_time", 17},
                                              {"shell_status", 3 << 8}}));
  EXPECT_EQ(jRun["result_id"], 4);
  EXPECT_EQ(jRun["owner_name"], "alice");
  EXPECT_EQ(jRun["duration"], 7);
  EXPECT_EQ(jRun["outcome"], "failed");
  EXPECT_EQ(jRun["outcome_text"], "exit 3");
  EXPECT_EQ(answered(objectOf({{"task_name", "a"}, {"start_time", 10}}))["outcome"], "running");
}

TEST(RunAnswers, OneStoppedRunIsAnObjectAndSeveralAreAnArray) {
  const Json::Value jRun = objectOf({{"result_id", 4}, {"task_name", "a"}});
  EXPECT_EQ(stoppedForPrograms({jRun})["result_id"], 4);
  const Json::Value jRuns = stoppedForPrograms({jRun, jRun});
  ASSERT_TRUE(jRuns.isArray());
  EXPECT_EQ(jRuns.size(), 2U);
}

TEST(RunAnswers, DifferenceOfRunsTellsWhetherTheyAreEqual) {
  const Json::Value jLeft = objectOf({{"result_id", 1}});
  const Json::Value jRight = objectOf({{"result_id", 2}});
  EXPECT_EQ(runDifferenceForPrograms(jLeft, jRight, "script.log", "-a\n+b\n"),
            objectOf({{"left", 1}, {"right", 2}, {"file", "script.log"}, {"same", false}, {"difference", "-a\n+b\n"}}));
  EXPECT_EQ(runDifferenceForPrograms(jLeft, jRight, "output.log", "")["same"], true);
}

TEST(RunAnswers, PrunedRunsAndOutputHaveTheirSizes) {
  PruneResult result;
  result.queRuns = {{4, "a", "a", 10, 100}};
  result.queOutputs = {{0, "", "b~1", 20, 23}};
  result.vecProblems = {"cannot remove c"};
  const Json::Value jOut = pruneForPrograms(result, true);
  EXPECT_EQ(jOut["dry_run"], true);
  EXPECT_EQ(jOut["runs"][0], objectOf({{"result_id", 4}, {"task_name", "a"}, {"start_time", 10}, {"bytes", 100U}}));
  EXPECT_EQ(jOut["outputs"][0],
            objectOf({{"result_id", Json::Value()}, {"task_name", "b~1"}, {"start_time", 20}, {"bytes", 23U}}));
  EXPECT_EQ(jOut["bytes"], 123U);
  EXPECT_EQ(jOut["problems"][0], "cannot remove c");
}

TEST(RunAnswers, StartInTheBackgroundHasTheUnitOrTheProcess) {
  ExecutionRequest request;
  request.strName = "bootup";
  EXPECT_EQ(startForPrograms(request, {"eorva-x.service", 0}),
            objectOf({{"event", "bootup"}, {"unit", "eorva-x.service"}}));
  request.blByEvent = false;
  EXPECT_EQ(startForPrograms(request, {"", 7}), objectOf({{"task", "bootup"}, {"pid", 7}}));
}

TEST(RunAnswers, ExecutionWithoutRunsHasEmptyLists) {
  const ExecutionPlan plan;
  ExecutionRequest request;
  request.strName = "bootup";
  EXPECT_EQ(executionForPrograms(request, Progress(plan), {}), objectOf({{"event", "bootup"},
                                                                         {"runs", Json::arrayValue},
                                                                         {"not_started", Json::arrayValue},
                                                                         {"left_out", Json::arrayValue}}));
}
