// updateTaskResultByExitStatus: closes a run in both tables.

#include "close_run_fixture.h"

using namespace OrvaTest;

namespace {

const std::string GET_ONE = "0 > pApi->recGetOne(jFilter, jTask)";
const std::string UPDATE_TASK = "0 > pApi->recUpdateByFilter(jFilter, jTask)";
const std::string UPDATE_RUN = "0 > pApiResult->recUpdateByFilter(jFilter, jUpdate)";
const std::string STATUS_TYPE =
    "jTask[\"status\"].type() != Json::objectValue && jTask[\"status\"].type() != Json::arrayValue && "
    "jTask[\"status\"].type() != Json::nullValue";

}  // namespace

TEST_F(CloseRun, WritesStopTimeAndExitInformationToTheRun) {
  fakes().setTime(1767225600);
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedRun(), json("{'result_id': 7, 'task_name': 'a', 'start_time': 1767225590, 'pid': 100,"
                              " 'stop_time': 1767225600, 'exit_info': {'exit_type': 'normal', 'exit_code': 3}}"));
  EXPECT_EQ(m_jResult, storedRun());
}

TEST_F(CloseRun, WritesTheOutcomeToTheTaskAndTakesTheRunOffItsList) {
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedTask(), json("{'task_name': 'a', 'owner': 4001, 'event': 'bootup', 'status': {'running': [99]},"
                               " 'last_start_time': 1767225590, 'last_stop_time': 1767225600,"
                               " 'last_exit_info': {'exit_type': 'normal', 'exit_code': 3}}"));
}

TEST_F(CloseRun, AsksTheStoreInThatOrder) {
  const std::string strUpdate = "{\"exit_info\":{\"exit_code\":3,\"exit_type\":\"normal\"},\"stop_time\":1767225600}";
  EXPECT_EQ(close(), 0);
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("recUpdateByFilter(task_result, {\"result_id\":7}, " + strUpdate + ")",
                                   testing::AllOf(testing::StartsWith("jsonCopyMember("),
                                                  testing::EndsWith(", " + strUpdate + ", true)")),
                                   "recGetOne(task, {\"task_name\":\"a\"})",
                                   testing::StartsWith("recUpdateByFilter(task, {\"task_name\":\"a\"}, ")));
}

TEST_F(CloseRun, ReplacesTheCallersTaskByTheStoredOne) {
  Json::Value jStored = storedTask();
  jStored["event"] = "shutdown";
  fakes().put("task", jStored);
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(m_jTask, storedTask());
  EXPECT_EQ(m_jTask["event"], "shutdown");
  EXPECT_FALSE(m_jTask.isMember("strExitCode_tmp"));
  EXPECT_FALSE(m_jTask.isMember("strScriptName_tmp"));
  EXPECT_FALSE(m_jTask.isMember("result"));
}

TEST_F(CloseRun, WritesTheStopTimeAsASigned32BitNumber) {
  fakes().setTime(2147483648);
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedRun()["stop_time"].asInt64(), -2147483648LL);
}

TEST_F(CloseRun, FindsTheRunBy64Bits) {
  m_jResult["result_id"] = Json::Int64(5000000000);
  fakes().put("task_result", m_jResult);
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(fakes().record("task_result", Json::Int64(5000000000))["stop_time"], 1767225600);
  EXPECT_FALSE(storedRun().isMember("stop_time"));
}

TEST_F(CloseRun, ChecksItsArgumentsInOrderBeforeAnythingIsWritten) {
  const std::string strPath = "'strExitCode_tmp': '" + exitCodePath() + "'";
  const std::string strRun = "{'result_id': 7, 'pid': 100}";
  const std::vector<std::tuple<std::string, std::string, std::string>> arguments = {
      {"null", strRun, "jTask.type() != Json::objectValue"},
      {"[]", "[]", "jTask.type() != Json::objectValue"},
      {"'a'", strRun, "jTask.type() != Json::objectValue"},
      {"{'task_name': 'a'}", "null", "jResult.type() != Json::objectValue"},
      {"{'task_name': 'a'}", "[7]", "jResult.type() != Json::objectValue"},
      {"{'task_name': 'a'}", "{'pid': 100}", "!jResult.isMember(\"result_id\")"},
      {"{'task_name': 'a'}", strRun, "!jTask.isMember(\"strExitCode_tmp\")"},
      {"{'task_name': 'a', 'strExitCode_tmp': 5}", strRun, "!jTask[\"strExitCode_tmp\"].isString()"},
      {"{'task_name': 'a', " + strPath + "}", "{'result_id': '7', 'pid': 100}", "!jResult[\"result_id\"].isInt64()"}};
  for (const auto& [strTask, strResult, strCheck] : arguments) {
    m_jTask = json(strTask);
    m_jResult = json(strResult);
    expectFailure(strCheck, LIB);
    expectLine("error! jTask=" + compactJson(m_jTask), LIB);
    EXPECT_EQ(close(), -1) << strTask << " " << strResult;
  }
  EXPECT_FALSE(storedRun().isMember("stop_time"));
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
  EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the exit information of a run that was not closed";
}

TEST_F(CloseRun, ChecksTheHandlesInOrder) {
  m_jResult = Json::Value();
  expectGivenUp("!pApi");
  EXPECT_EQ(updateTaskResultByExitStatus(m_jTask, nullptr, nullptr, nullptr, m_jResult), -1);
  expectGivenUp("!pApiResult");
  EXPECT_EQ(updateTaskResultByExitStatus(m_jTask, m_pApi, nullptr, nullptr, m_jResult), -1);
  expectGivenUp("!pDb");
  EXPECT_EQ(updateTaskResultByExitStatus(m_jTask, m_pApi, m_pApiResult, nullptr, m_jResult), -1);
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
  takeTemporaryFiles();
}

TEST_F(CloseRun, AFailedRunRecordLeavesTheTaskButTakesTheFile) {
  fakes().fail("recUpdateByFilter(task_result,");
  expectGivenUp(UPDATE_RUN);
  EXPECT_EQ(close(), -1);
  EXPECT_FALSE(fileExists(exitCodePath()));
  EXPECT_EQ(storedTask()["status"], json("{'running': [99, 100]}"));
  EXPECT_FALSE(m_jResult.isMember("stop_time"));
}

TEST_F(CloseRun, FailsWhenTheRunRecordCannotBeCompleted) {
  fakes().fail("jsonCopyMember");
  expectGivenUp("0 > jsonCopyMember(jResult, jUpdate, true)");
  EXPECT_EQ(close(), -1);
  EXPECT_TRUE(storedRun().isMember("stop_time"));
}

TEST_F(CloseRun, FailsWhenTheTaskCannotBeReadAgain) {
  fakes().fail("recGetOne(task,");
  expectFailure(GET_ONE, LIB);
  expectLine("error! jTask=" + compactJson(m_jTask), LIB);
  EXPECT_EQ(close(), -1);
  EXPECT_EQ(storedTask()["status"], json("{'running': [99, 100]}"));
}

TEST_F(CloseRun, AFailedTaskUpdateLeavesTheRunClosedAndOnTheList) {
  fakes().fail("recUpdateByFilter(task,");
  expectGivenUp(UPDATE_TASK);
  EXPECT_EQ(close(), -1);
  EXPECT_TRUE(storedRun().isMember("stop_time"));
  EXPECT_EQ(storedTask()["status"], json("{'running': [99, 100]}"));
  EXPECT_EQ(m_jTask["status"], json("{'running': [99]}"));
}

TEST_F(CloseRun, ATaskThatWasDeletedMeanwhileFailsAfterTheRunIsClosed) {
  Json::Value jRemoved = json("{'task_name': 'a'}");
  ASSERT_EQ(m_pApi->recDelete(jRemoved, true), 1);
  expectFailure("!jTask.isMember(\"status\")", LIB);
  expectLine(
      "error! jTask={\"last_exit_info\":{\"exit_code\":3,\"exit_type\":\"normal\"},\"last_stop_time\":1767225600}",
      LIB);
  EXPECT_EQ(close(), -1);
  EXPECT_TRUE(storedRun().isMember("stop_time"));
}

TEST_F(CloseRun, FailsOnAStoredTaskThatIsNoObject) {
  for (const char* szTask : {"[]", "'a'", "5"}) {
    prepare();
    fakes().answer("recGetOne(task,", 0, json(szTask));
    expectGivenUp("jTask.type() != Json::objectValue && jTask.type() != Json::nullValue");
    EXPECT_EQ(close(), -1) << szTask;
  }
}

TEST_F(CloseRun, FailsOnAStatusOfTheWrongType) {
  for (const char* szStatus : {"'running'", "100", "true", "1.5"}) {
    prepare();
    setStatus(szStatus);
    expectGivenUp(STATUS_TYPE);
    EXPECT_EQ(close(), -1) << szStatus;
    EXPECT_EQ(storedTask()["status"], json(szStatus));
  }
}

TEST_F(CloseRun, ANullOrArrayStatusCountsAsEmpty) {
  for (const char* szStatus : {"null", "[]", "[100]", "{}"}) {
    prepare();
    setStatus(szStatus);
    EXPECT_EQ(close(), 0) << szStatus;
    EXPECT_EQ(storedTask()["status"], json("{'running': []}"));
  }
}

TEST_F(CloseRun, AStatusWithoutARunningListGetsAnEmptyOne) {
  setStatus("{'other': 1}");
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedTask()["status"], json("{'running': []}"));
}

TEST_F(CloseRun, FailsOnARunningListThatIsNoArray) {
  for (const char* szRunning : {"null", "{}", "100", "'100'"}) {
    prepare();
    setStatus(std::string("{'running': ") + szRunning + "}");
    expectGivenUp("jStatus[\"running\"].type() != Json::arrayValue");
    EXPECT_EQ(close(), -1) << szRunning;
  }
}

TEST_F(CloseRun, FailsOnARunWithoutAPid) {
  m_jResult.removeMember("pid");
  expectGivenUp("!jResult.isMember(\"pid\")");
  EXPECT_EQ(close(), -1);
  EXPECT_TRUE(storedRun().isMember("stop_time"));
}

TEST_F(CloseRun, FailsOnAPidThatIsNoNumber) {
  m_jResult["pid"] = "100";
  expectGivenUp("!jResult[\"pid\"].isInt64()");
  EXPECT_EQ(close(), -1);
}

TEST_F(CloseRun, FailsOnAListedPidThatIsNoNumber) {
  setStatus("{'running': [99, '100']}");
  expectGivenUp("!jStatus[\"running\"][i].isInt64()");
  EXPECT_EQ(close(), -1);
  EXPECT_EQ(storedTask()["status"], json("{'running': [99, '100']}"));
}

TEST_F(CloseRun, RemovesEveryCopyOfThePid) {
  blDebugOutput = true;
  setStatus("{'running': [100, 99, 100, 101]}");
  expectDebug("remove status, pid=100", LIB);
  expectDebug("remove status, pid=100", LIB);
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedTask()["status"], json("{'running': [99, 101]}"));
  size_t cLines = 0;
  for (const LogLine& line : logLines()) {
    cLines += line.strText.starts_with("remove status") ? 1 : 0;
  }
  EXPECT_EQ(cLines, 2U);
}

TEST_F(CloseRun, KeepsTheOrderOfTheOthersWhenThePidIsNotListed) {
  setStatus("{'running': [3, 1, 2]}");
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedTask()["status"], json("{'running': [3, 1, 2]}"));
}

TEST_F(CloseRun, DropsEveryOtherMemberOfTheStatus) {
  setStatus("{'running': [100], 'note': 'x', 'more': {'deep': 1}}");
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedTask()["status"], json("{'running': []}"));
}

TEST_F(CloseRun, ComparesPidsOf64BitsWithOneOf32) {
  m_jResult["pid"] = Json::Int64(4294967296 + PID);
  setStatus("{'running': [100, 4294967396]}");
  EXPECT_EQ(close(), 0);
  EXPECT_EQ(storedTask()["status"], json("{'running': [4294967396]}"));
}

TEST_F(CloseRun, EachFailingCallFailsOrCostsTheExitInformation) {
  const int cCalls = failEachCall([this] { prepare(); },
                                  [this] {
                                    const int iResult = close();
                                    const auto calls = fakes().calls();
                                    const bool blStoreFailed = calls.size() < 4 || storedTask()["last_stop_time"] == 0;
                                    EXPECT_EQ(iResult, blStoreFailed ? -1 : 0);
                                    EXPECT_TRUE(fakes().faults() > 0 || storedRun()["exit_info"]["exit_code"] == 3);
                                    EXPECT_EQ(storedRun().isMember("stop_time"), calls.size() > 1);
                                    takeTemporaryFiles();
                                  });
  EXPECT_GE(cCalls, 8);
}

TEST_F(CloseRun, AStoreThatThrowsIsAFailureWithTheLineOfTheTask) {
  for (const char* szCall : {"recUpdateByFilter(task_result,", "recGetOne(task,", "recUpdateByFilter(task,"}) {
    prepare();
    fakes().before(szCall, [] { throw std::runtime_error("broken"); });
    expectLine("operation given up: broken", LIB);
    expectLine("error! jTask=", LIB).beginning();
    EXPECT_EQ(close(), -1) << szCall;
  }
}
