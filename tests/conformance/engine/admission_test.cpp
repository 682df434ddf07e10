// runTask: the records of an admitted run. The children are simulated.

#include "engine/admission.h"

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

const std::string CHECK_FAILED = "-1 == (ret = checkRunTheSameTime(jTask, pApi))";
const std::string LAUNCH_FAILED = "0 >= (pid = forkRunCmd(jTask, jConfig, jResult))";

class RunTask : public RunsTest {
protected:
  RunTask() { fakes().pretendChildren(); }

  int runIt(Json::Value& jTask) { return runTask(jTask, m_jEvent, m_pApi, m_pApiResult, m_pDb, m_jConfig, m_jResult); }

  Json::Value m_jEvent = json("{'event_fire_time': 5, 'trigger_event': 'bootup', 'run_time_env': {'x': [1]}}");
  Json::Value m_jConfig = Json::Value(Json::objectValue);
  Json::Value m_jResult;
};

}  // namespace

TEST_F(RunTask, ChecksItsArgumentsInTheirOrder) {
  Json::Value jTask = scriptTask("a");
  Json::Value jWrong(Json::arrayValue);
  expectFailure("jTask.type() != Json::objectValue", LIB);
  EXPECT_EQ(runTask(jWrong, jWrong, nullptr, nullptr, nullptr, m_jConfig, m_jResult), -1);
  expectFailure("jEvent.type() != Json::objectValue", LIB);
  EXPECT_EQ(runTask(jTask, jWrong, nullptr, nullptr, nullptr, m_jConfig, m_jResult), -1);
  expectFailure("!pApi", LIB);
  EXPECT_EQ(runTask(jTask, m_jEvent, nullptr, nullptr, nullptr, m_jConfig, m_jResult), -1);
  expectFailure("!pApiResult", LIB);
  EXPECT_EQ(runTask(jTask, m_jEvent, m_pApi, nullptr, nullptr, m_jConfig, m_jResult), -1);
  expectFailure("!pDb", LIB);
  EXPECT_EQ(runTask(jTask, m_jEvent, m_pApi, m_pApiResult, nullptr, m_jConfig, m_jResult), -1);
  EXPECT_TRUE(m_jResult.isNull());
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(RunTask, CreatesTheRunRecordWithThePidOfItsChild) {
  Json::Value jTask = store(scriptTask("a"));
  const int pid = runIt(jTask);
  ASSERT_EQ(pid, fakes().pretendedChildren().at(0));
  Json::Value jExpected = json(
      "{'result_id': 1, 'task_name': 'a', 'event_fire_time': 5, 'exit_info': {}, 'trigger_event': 'bootup',"
      " 'run_time_env': {'x': [1]}, 'extra': {}}");
  jExpected["start_time"] = static_cast<Json::Int64>(fakes().now());
  jExpected["pid"] = pid;
  EXPECT_EQ(run(1), jExpected);
  EXPECT_EQ(m_jResult, jExpected);
}

TEST_F(RunTask, TheStoresRecordReplacesTheCallers) {
  Json::Value jTask = store(scriptTask("a"));
  m_jResult = json("{'old': 1}");
  fakes().answer("recCreate", 0, json("{'result_id': 77, 'start_time': 42}"));
  EXPECT_GT(runIt(jTask), 0);
  EXPECT_EQ(m_jResult, json("{'result_id': 77, 'start_time': 42}"));
  EXPECT_EQ(task("a")["last_start_time"], 42);
}

TEST_F(RunTask, MembersThatTheEventLacksAreStoredAsNull) {
  Json::Value jTask = store(scriptTask("a"));
  m_jEvent = Json::Value(Json::objectValue);
  EXPECT_GT(runIt(jTask), 0);
  for (const char* szMember : {"event_fire_time", "trigger_event", "run_time_env"}) {
    EXPECT_TRUE(run(1).isMember(szMember)) << szMember;
    EXPECT_TRUE(run(1)[szMember].isNull()) << szMember;
  }
  EXPECT_EQ(m_jEvent, Json::Value(Json::objectValue));
}

TEST_F(RunTask, MarksTheTaskAsRunning) {
  Json::Value jTask = scriptTask("a");
  jTask["last_stop_time"] = 9;
  jTask["last_exit_info"] = exitInfo("normal", 0);
  store(jTask);
  const int pid = runIt(jTask);
  EXPECT_EQ(task("a")["last_start_time"].asInt64(), fakes().now());
  EXPECT_EQ(task("a")["last_stop_time"], 0);
  EXPECT_EQ(task("a")["last_exit_info"], Json::Value(Json::objectValue));
  EXPECT_EQ(task("a")["status"]["running"], listOf({Json::Value(pid)}));
  EXPECT_EQ(jTask["status"], task("a")["status"]);
}

TEST_F(RunTask, ATaskWithoutAStatusStartsAndGetsOne) {
  Json::Value jTask = store(scriptTask("a"));
  const int pid = runIt(jTask);
  Json::Value jStatus;
  jStatus["running"].append(pid);
  EXPECT_EQ(task("a")["status"], jStatus);
}

TEST_F(RunTask, AStatusWithoutARunningListGetsOneAndKeepsItsOtherMembers) {
  for (const char* szStatus : {"{}", "{'note': 'x'}", "null", "[]"}) {
    Json::Value jTask = scriptTask("a");
    jTask["status"] = json(szStatus);
    store(jTask);
    const int pid = runIt(jTask);
    EXPECT_EQ(task("a")["status"]["running"], listOf({Json::Value(pid)})) << szStatus;
    EXPECT_EQ(task("a")["status"].isMember("note"), std::string(szStatus).find("note") != std::string::npos);
  }
}

TEST_F(RunTask, ANewRunIsAppendedAfterTheLiveOne) {
  fakes().alivePids.insert(4242);
  Json::Value jTask = scriptTask("a");
  jTask["status"] = json("{'running': [4242]}");
  store(jTask);
  const int pid = runIt(jTask);
  EXPECT_EQ(task("a")["status"]["running"], listOf({Json::Value(4242), Json::Value(pid)}));
}

TEST_F(RunTask, WritesTheTaskByItsNameAlone) {
  Json::Value jTask = store(scriptTask("a"));
  runIt(jTask);
  EXPECT_THAT(fakes().calls(),
              testing::Contains(testing::StartsWith("recUpdateByFilter(task, {\"task_name\":\"a\"}, {")));
}

TEST_F(RunTask, ALiveRunRefusesAnotherOne) {
  blDebugOutput = true;
  fakes().alivePids.insert(4242);
  Json::Value jTask = scriptTask("a");
  jTask["run_the_same_time"] = false;
  jTask["status"] = json("{'running': [4242]}");
  store(jTask);
  m_jResult = json("{'old': 1}");
  expectLine("cannot run now, same task running pid=4242", LIB);
  expectDebug("task=a is running, should run the same", LIB);
  EXPECT_EQ(runIt(jTask), 0);
  EXPECT_THAT(started(), testing::IsEmpty());
  EXPECT_THAT(fakes().pretendedChildren(), testing::IsEmpty());
  EXPECT_EQ(m_jResult, json("{'old': 1}"));
}

TEST_F(RunTask, ALiveRunOfATaskWithoutANameIsRefusedWithoutTheDebugLine) {
  blDebugOutput = true;
  fakes().alivePids.insert(4242);
  for (const char* szName : {"null", "5", "['a']"}) {
    Json::Value jTask = json("{'run_the_same_time': false, 'status': {'running': [4242]}}");
    jTask["task_name"] = json(szName);
    expectLine("cannot run now, same task running pid=4242", LIB);
    EXPECT_EQ(runIt(jTask), 0);
  }
  for (const LogLine& line : logLines()) {
    EXPECT_EQ(line.strText.find("should run the same"), std::string::npos);
  }
}

TEST_F(RunTask, FailsWithoutCreatingAnythingWhenItIsUnknownWhetherRunsMayOverlap) {
  for (const char* szMember : {"", "null", "1", "'true'"}) {
    Json::Value jTask = scriptTask("a");
    jTask.removeMember("run_the_same_time");
    if (*szMember != '\0') {
      jTask["run_the_same_time"] = json(szMember);
      expectFailure("!jTask[\"run_the_same_time\"].isBool()", LIB);
    } else {
      expectFailure("!jTask.isMember(\"run_the_same_time\")", LIB);
    }
    expectLine("jTask=", LIB).beginning();
    expectFailure(CHECK_FAILED, LIB);
    EXPECT_EQ(runIt(jTask), -1);
  }
  EXPECT_THAT(started(), testing::IsEmpty());
  EXPECT_THAT(fakes().pretendedChildren(), testing::IsEmpty());
}

TEST_F(RunTask, FailsWithoutARecordWhenTheLaunchFails) {
  Json::Value jTask = store(scriptTask("a"));
  fakes().fail("fork").withErrno(EAGAIN);
  expectFailure("0 > pid", LIB).withErrno(EAGAIN);
  expectFailure(LAUNCH_FAILED, LIB);
  EXPECT_EQ(runIt(jTask), -1);
  EXPECT_THAT(started(), testing::IsEmpty());
  EXPECT_EQ(task("a"), scriptTask("a"));
  EXPECT_EQ(m_jResult["task_name"], "a") << "the record as far as it was built";
  EXPECT_FALSE(m_jResult.isMember("pid"));
}

TEST_F(RunTask, FailsAlthoughTheChildRunsWhenItCannotBeRecorded) {
  Json::Value jTask = store(scriptTask("a"));
  fakes().fail("recCreate");
  expectFailure("0 > pApiResult->recCreate(jResult, jResultOut)", LIB);
  EXPECT_EQ(runIt(jTask), -1);
  EXPECT_EQ(fakes().pretendedChildren().size(), 1U);
  EXPECT_EQ(task("a"), scriptTask("a"));
}

TEST_F(RunTask, FailsAlthoughTheChildRunsWhenTheTaskCannotBeWritten) {
  Json::Value jTask = store(scriptTask("a"));
  fakes().fail("recUpdateByFilter(task,");
  expectFailure("0 > pApi->recUpdateByFilter(jFilter, jTask)", LIB);
  EXPECT_EQ(runIt(jTask), -1);
  EXPECT_EQ(fakes().pretendedChildren().size(), 1U);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
  EXPECT_FALSE(task("a").isMember("status"));
}

TEST_F(RunTask, TheStartTimeIsTakenOnceAndSharedByBothRecords) {
  Json::Value jTask = store(scriptTask("a"));
  const Json::Int64 iStart = fakes().now();
  fakes().before("fork", [] { fakes().setTime(fakes().now() + 9); });
  EXPECT_GT(runIt(jTask), 0);
  EXPECT_EQ(run(1)["start_time"].asInt64(), iStart);
  EXPECT_EQ(task("a")["last_start_time"].asInt64(), iStart);
}
