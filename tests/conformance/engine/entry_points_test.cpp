// runByEvent and runTaskOne: start an execution; the members of its run records.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class RunByEvent : public RunsTest {
protected:
  int runRequest(Json::Value jIn) { return runByEvent(m_pApi, m_pApiResult, jIn, m_pDb); }
};

class RunTaskOne : public RunsTest {};

const Json::Value DONE = exitInfo("normal", 0);

}  // namespace

TEST_F(RunByEvent, FailsOnARequestThatIsNoObject) {
  for (const Json::Value& jWrong : {Json::Value(), json("[]"), json("['event']"), Json::Value("event"), json("1")}) {
    expectFailure("jIn.type() != Json::objectValue", LIB);
    EXPECT_EQ(runRequest(jWrong), -1);
  }
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(RunByEvent, FailsWithoutAnEvent) {
  for (const char* szWrong : {"{}", "{'Event': 'bootup'}"}) {
    expectFailure("!jIn.isMember(\"event\")", LIB);
    EXPECT_EQ(runRequest(json(szWrong)), -1);
  }
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(RunByEvent, FailsOnAnEventThatIsNoString) {
  for (const char* szWrong : {"null", "1", "true", "['bootup']", "{}"}) {
    expectFailure("!jIn[\"event\"].isString()", LIB);
    EXPECT_EQ(runRequest(json(std::string("{'event': ") + szWrong + "}")), -1);
  }
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(RunByEvent, FailsOnTheEmptyEvent) {
  expectFailure("strEvent.empty()", LIB);
  EXPECT_EQ(fire(""), -1);
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(RunByEvent, FailsWithoutATaskStore) {
  Json::Value jIn = json("{'event': 'bootup'}");
  expectFailure("!pApi", LIB);
  EXPECT_EQ(runByEvent(nullptr, m_pApiResult, jIn, m_pDb), -1);
}

TEST_F(RunByEvent, ListsTheEnabledRootsOfTheEventAndNothingElse) {
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("recList(task, {\"depend_on_task\":\"\",\"enable\":true,\"event\":\"bootup\"})"));
}

TEST_F(RunByEvent, FailsWhenTheListingFails) {
  store(scriptTask("a"));
  fakes().fail("recList");
  expectFailure("0 > pApi->recList(jFilter, jOutArray)", LIB);
  EXPECT_EQ(fire(), -1);
  EXPECT_THAT(started(), testing::IsEmpty());
}

TEST_F(RunByEvent, WithoutATaskOfTheEventDoesNothing) {
  blDebugOutput = true;
  store(scriptTask("a"));
  expectDebug("no task only base on event=[shutdown]", LIB);
  EXPECT_EQ(fire("shutdown"), 0);
  EXPECT_THAT(started(), testing::IsEmpty());
  EXPECT_THAT(fakes().sleeps(), testing::IsEmpty());
}

TEST_F(RunByEvent, StartsNeitherDisabledTasksNorThoseThatWait) {
  fakes().pretendChildren(DONE);
  Json::Value jDisabled = scriptTask("disabled");
  jDisabled["enable"] = false;
  store(jDisabled);
  store(dependant("waiting", "[disabled]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::IsEmpty());
}

TEST_F(RunByEvent, StartsEveryRootAndThenItsDependants) {
  fakes().pretendChildren(DONE);
  store(scriptTask("a"));
  store(scriptTask("b"));
  store(dependant("after_a", "[a]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "b", "after_a"));
  takeTemporaryFiles();
}

TEST_F(RunByEvent, RunRecordsCarryTheEventAndAnEmptyEnvironment) {
  fakes().pretendChildren(DONE);
  const Json::Int64 iFired = fakes().now();
  store(scriptTask("a"));
  store(dependant("after_a", "[a]"));
  EXPECT_EQ(fire(), 0);
  for (const int iResultId : {1, 2}) {
    EXPECT_EQ(run(iResultId)["trigger_event"], "bootup");
    EXPECT_EQ(run(iResultId)["run_time_env"], Json::Value(Json::objectValue));
    EXPECT_EQ(run(iResultId)["extra"], Json::Value(Json::objectValue));
    EXPECT_EQ(run(iResultId)["event_fire_time"].asInt64(), iFired);
  }
}

TEST_F(RunByEvent, TakesTheFireTimeAfterTheListing) {
  fakes().pretendChildren(DONE);
  store(scriptTask("a"));
  const Json::Int64 iBefore = fakes().now();
  fakes().before("recList(task,", [] { fakes().setTime(fakes().now() + 7); });
  EXPECT_EQ(fire(), 0);
  EXPECT_EQ(run(1)["event_fire_time"].asInt64(), iBefore + 7);
}

TEST_F(RunByEvent, FailsWhenTheRunnerFails) {
  store(scriptTask("a"));
  writeFile(CONFIG_PATH, "{damaged");
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
  expectFailure("0 > configGet(jFilter, jConfig)", LIB);
  expectFailure("0 > runTaskArray(jOutArray, jEvent, pApi, pApiResult, pDb, true)", LIB);
  EXPECT_EQ(fire(), -1);
  EXPECT_THAT(started(), testing::IsEmpty());
}

TEST_F(RunByEvent, LeavesTheRequestAsItIs) {
  Json::Value jIn = json("{'event': 'bootup', 'other': 1}");
  EXPECT_EQ(runByEvent(m_pApi, m_pApiResult, jIn, m_pDb), 0);
  EXPECT_EQ(jIn, json("{'event': 'bootup', 'other': 1}"));
}

TEST_F(RunTaskOne, FailsOnATaskThatIsNoObjectBeforeItLooksAtTheHandles) {
  for (const Json::Value& jWrong : {Json::Value(), json("[]"), Json::Value("a"), json("1.5")}) {
    Json::Value jTask = jWrong;
    expectFailure("jTask.type() != Json::objectValue", LIB);
    EXPECT_EQ(runTaskOne(jTask, nullptr, nullptr, nullptr), -1);
  }
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(RunTaskOne, FailsWithoutAHandleInTheirOrder) {
  Json::Value jTask = scriptTask("a");
  expectFailure("!pApi", LIB);
  EXPECT_EQ(runTaskOne(jTask, nullptr, nullptr, nullptr), -1);
  expectFailure("!pApiResult", LIB);
  EXPECT_EQ(runTaskOne(jTask, m_pApi, nullptr, nullptr), -1);
  expectFailure("!pDb", LIB);
  EXPECT_EQ(runTaskOne(jTask, m_pApi, m_pApiResult, nullptr), -1);
  EXPECT_THAT(fakes().allCalls(), testing::IsEmpty());
}

TEST_F(RunTaskOne, RunsATaskThatItsEventWouldNotStart) {
  fakes().pretendChildren(DONE);
  Json::Value jTask = scriptTask("a");
  jTask["enable"] = false;
  jTask["depend_on_task"] = "[b]";
  jTask["event"] = 5;
  EXPECT_EQ(runOne(store(jTask)), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
  EXPECT_EQ(run(1)["exit_info"], DONE);
}

TEST_F(RunTaskOne, StartsNoDependants) {
  fakes().pretendChildren(DONE);
  store(dependant("after_a", "[a]"));
  EXPECT_EQ(runOne(store(scriptTask("a"))), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains(testing::StartsWith("recList("))));
}

TEST_F(RunTaskOne, RunRecordsSayOnDemandAndCarryAnEmptyEnvironment) {
  fakes().pretendChildren(DONE);
  const Json::Int64 iFired = fakes().now();
  EXPECT_EQ(runOne(store(scriptTask("a"))), 0);
  EXPECT_EQ(run(1)["trigger_event"], "on_demand");
  EXPECT_EQ(run(1)["run_time_env"], Json::Value(Json::objectValue));
  EXPECT_EQ(run(1)["extra"], Json::Value(Json::objectValue));
  EXPECT_EQ(run(1)["event_fire_time"].asInt64(), iFired);
}

TEST_F(RunTaskOne, LeavesTheCallersTaskAsItIs) {
  fakes().pretendChildren(DONE);
  Json::Value jTask = store(scriptTask("a"));
  EXPECT_EQ(runTaskOne(jTask, m_pApi, m_pApiResult, m_pDb), 0);
  EXPECT_EQ(jTask, scriptTask("a"));
}

TEST_F(RunTaskOne, FailsWhenTheRunnerFails) {
  writeFile(CONFIG_PATH, "[]");
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
  expectFailure("0 > configGet(jFilter, jConfig)", LIB);
  expectFailure("0 > runTaskArray(jTaskList, jEvent, pApi, pApiResult, pDb, false)", LIB);
  EXPECT_EQ(runOne(scriptTask("a")), -1);
}

TEST_F(RunTaskOne, SucceedsWhenTheTaskCannotBeStarted) {
  Json::Value jTask = scriptTask("a");
  jTask["operation_type"] = "mail";
  expectDirectLine("OpType is not script [mail]", LIB);
  expectFailure("0 >= (pid = forkRunCmd(jTask, jConfig, jResult))", LIB);
  expectLine("0 > (pid=runTask(jCurr, jEvent, pApi, pApiResult, pDb, jConfig, jResult))", LIB);
  EXPECT_EQ(runOne(jTask), 0);
  EXPECT_THAT(started(), testing::IsEmpty());
}
