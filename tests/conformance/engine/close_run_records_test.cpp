// The records of a run from its start to its end, in both tables.

#include "engine/admission.h"
#include "engine/close_run.h"
#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

constexpr int NEW_YEAR = 1767225600;

class RunRecords : public HandlesTest {
protected:
  // One run, as in the runner's memory.
  struct Run {
    Json::Value jTask;
    Json::Value jResult;
    int iPid;
  };

  RunRecords() {
    fakes().pretendChildren();
    fakes().put("task", json("{'task_name': 'a', 'event': 'bootup', 'enable': true, 'depend_on_task': '',"
                             " 'operation_type': 'script', 'operation': 'true', 'owner': 0,"
                             " 'run_the_same_time': true, 'last_start_time': 1, 'last_stop_time': 2,"
                             " 'last_exit_info': {'exit_type': 'normal', 'exit_code': 5}}"));
  }

  Run start() {
    Run run{storedTask(), {}, 0};
    Json::Value jEvent = json("{'event_fire_time': 1767225500, 'trigger_event': 'bootup', 'run_time_env': {}}");
    Json::Value jConfig(Json::objectValue);
    run.iPid = runTask(run.jTask, jEvent, m_pApi, m_pApiResult, m_pDb, jConfig, run.jResult);
    EXPECT_GT(run.iPid, 0);
    return run;
  }

  void end(Run& run, const std::string& strExitInfo) {
    fakes().endChild(run.iPid, json(strExitInfo));
    EXPECT_EQ(updateTaskResultByExitStatus(run.jTask, m_pApi, m_pApiResult, m_pDb, run.jResult), 0);
  }

  static Json::Value storedTask() { return fakes().record("task", "a"); }
  static Json::Value storedRun(const Run& run) { return fakes().record("task_result", run.jResult["result_id"]); }

  static std::vector<int> running() {
    std::vector<int> pids;
    const Json::Value jTask = storedTask();
    for (const Json::Value& jPid : jTask["status"]["running"]) {
      pids.push_back(jPid.asInt());
    }
    return pids;
  }
};

}  // namespace

TEST_F(RunRecords, AnOpenRunHasNoStopTimeAndEmptyExitInformation) {
  const Run run = start();
  Json::Value jExpected = json(
      "{'result_id': 1, 'task_name': 'a', 'start_time': 1767225600, 'exit_info': {}, 'event_fire_time': 1767225500,"
      " 'trigger_event': 'bootup', 'run_time_env': {}, 'extra': {}}");
  jExpected["pid"] = run.iPid;
  EXPECT_EQ(storedRun(run), jExpected);
}

TEST_F(RunRecords, ATaskWithAnOpenRunShowsNoStopTimeAndNoOutcome) {
  start();
  EXPECT_EQ(storedTask()["last_start_time"], NEW_YEAR);
  EXPECT_EQ(storedTask()["last_stop_time"], 0);
  EXPECT_EQ(storedTask()["last_exit_info"], Json::Value(Json::objectValue));
}

TEST_F(RunRecords, ATaskWithoutAStatusHasNoRunningInstance) {
  ASSERT_FALSE(storedTask().isMember("status"));
  Json::Value jTask = storedTask();
  jTask["run_the_same_time"] = false;
  fakes().put("task", jTask);
  const Run run = start();
  EXPECT_THAT(running(), testing::ElementsAre(run.iPid));
}

TEST_F(RunRecords, AClosedRunKeepsTheMembersOfItsStart) {
  Run run = start();
  const Json::Value jOpen = storedRun(run);
  fakes().setTime(NEW_YEAR + 60);
  end(run, "{'exit_type': 'normal', 'exit_code': 0}");
  Json::Value jExpected = jOpen;
  jExpected["stop_time"] = NEW_YEAR + 60;
  jExpected["exit_info"] = json("{'exit_type': 'normal', 'exit_code': 0}");
  EXPECT_EQ(storedRun(run), jExpected);
  EXPECT_EQ(storedTask()["last_stop_time"], NEW_YEAR + 60);
  EXPECT_EQ(storedTask()["last_exit_info"], jExpected["exit_info"]);
  EXPECT_EQ(storedTask()["last_start_time"], NEW_YEAR);
}

TEST_F(RunRecords, APidIsListedExactlyWhileItsRunIsOpen) {
  EXPECT_THAT(running(), testing::IsEmpty());
  Run first = start();
  Run second = start();
  EXPECT_THAT(running(), testing::ElementsAre(first.iPid, second.iPid));
  end(first, "{'exit_type': 'normal', 'exit_code': 0}");
  EXPECT_THAT(running(), testing::ElementsAre(second.iPid));
  end(second, "{'exit_type': 'normal', 'exit_code': 0}");
  EXPECT_THAT(running(), testing::IsEmpty());
}

TEST_F(RunRecords, ANewRunResetsTheOutcomeAlthoughAnOlderOneIsOpen) {
  const Run first = start();
  Run second = start();
  end(second, "{'exit_type': 'by_signal', 'exit_code': 9}");
  EXPECT_NE(storedTask()["last_stop_time"], 0);
  fakes().setTime(NEW_YEAR + 5);
  start();
  EXPECT_EQ(storedTask()["last_start_time"], NEW_YEAR + 5);
  EXPECT_EQ(storedTask()["last_stop_time"], 0);
  EXPECT_EQ(storedTask()["last_exit_info"], Json::Value(Json::objectValue));
  EXPECT_FALSE(storedRun(first).isMember("stop_time"));
}

TEST_F(RunRecords, TransientMembersOfARunningTaskAreNotStored) {
  Run run = start();
  for (const char* szMember : {"result", "strExitCode_tmp", "strScriptName_tmp", "strOutputPath_tmp"}) {
    EXPECT_FALSE(storedTask().isMember(szMember)) << szMember;
  }
  EXPECT_TRUE(run.jTask.isMember("strExitCode_tmp"));
  end(run, "{'exit_type': 'normal', 'exit_code': 0}");
  EXPECT_FALSE(run.jTask.isMember("strExitCode_tmp"));
}

TEST_F(RunRecords, MembersThatTheLibraryDoesNotKnowPassThrough) {
  fakes().keepUnknownMembers();
  Json::Value jTask = storedTask();
  jTask["color"] = json("['blue', null]");
  fakes().put("task", jTask);
  Run run = start();
  end(run, "{'exit_type': 'normal', 'exit_code': 0}");
  EXPECT_EQ(storedTask()["color"], json("['blue', null]"));
}

TEST_F(RunRecords, RunsOfAnEventAndOnDemandHaveEmptyEnvironmentAndExtra) {
  fakes().pretendChildren(json("{'exit_type': 'normal', 'exit_code': 0}"));
  Json::Value jIn = json("{'event': 'bootup'}");
  EXPECT_EQ(runByEvent(m_pApi, m_pApiResult, jIn, m_pDb), 0);
  Json::Value jTask = storedTask();
  EXPECT_EQ(runTaskOne(jTask, m_pApi, m_pApiResult, m_pDb), 0);
  const auto runs = fakes().records("task_result");
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0]["trigger_event"], "bootup");
  EXPECT_EQ(runs[1]["trigger_event"], "on_demand");
  for (const Json::Value& jRun : runs) {
    EXPECT_EQ(jRun["run_time_env"], Json::Value(Json::objectValue));
    EXPECT_EQ(jRun["extra"], Json::Value(Json::objectValue));
  }
}
