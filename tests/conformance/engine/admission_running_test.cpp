// checkRunTheSameTime: the live runs of a task, and whether they block a new run.

#include "conformance/engine/runs.h"
#include "engine/admission.h"

using namespace OrvaTest;

namespace {

class CheckRunTheSameTime : public RunsTest {
protected:
  CheckRunTheSameTime() { fakes().alivePids = {4242, 4243, 4244}; }

  // A stored task with that running list.
  static Json::Value running(const std::string& strRunning, bool blRunTheSameTime) {
    Json::Value jTask = scriptTask("a");
    jTask["run_the_same_time"] = blRunTheSameTime;
    jTask["status"]["running"] = json(strRunning);
    return store(jTask);
  }
  Json::Value stored() { return task("a")["status"]["running"]; }
  void expectInTheWay(int pid) { expectLine("cannot run now, same task running pid=" + std::to_string(pid), LIB); }
};

}  // namespace

TEST_F(CheckRunTheSameTime, FailsOnATaskThatIsNoObject) {
  for (const char* szWrong : {"null", "[]", "'a'"}) {
    Json::Value jTask = json(szWrong);
    expectFailure("jTask.type() != Json::objectValue", LIB);
    expectLine("jTask=", LIB).beginning();
    EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -1);
  }
}

TEST_F(CheckRunTheSameTime, AFailureNamesTheTask) {
  Json::Value jTask = json("{'task_name': 'a'}");
  expectFailure("!jTask.isMember(\"run_the_same_time\")", LIB);
  expectLine("jTask={\"task_name\":\"a\"}", LIB);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -1);
}

TEST_F(CheckRunTheSameTime, WithoutAStatusNothingRuns) {
  blDebugOutput = true;
  Json::Value jTask = store(scriptTask("a"));
  expectDebug("no status, can run", LIB);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), 0);
  EXPECT_EQ(jTask["status"], json("{'running': []}"));
  EXPECT_FALSE(task("a").isMember("status")) << "in memory only";
}

TEST_F(CheckRunTheSameTime, FailsOnAStatusOfAnotherType) {
  for (const char* szStatus : {"'running'", "1", "true"}) {
    Json::Value jTask = scriptTask("a");
    jTask["status"] = json(szStatus);
    expectFailure(
        "jTask[\"status\"].type() != Json::objectValue && jTask[\"status\"].type() != Json::arrayValue && "
        "jTask[\"status\"].type() != Json::nullValue",
        LIB);
    expectLine("jTask=", LIB).beginning();
    EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -1);
  }
}

TEST_F(CheckRunTheSameTime, AStatusWithoutARunningListMeansThatNothingRuns) {
  for (const char* szStatus : {"null", "[]", "[4242]", "{}", "{'other': 1}"}) {
    Json::Value jTask = scriptTask("a");
    jTask["run_the_same_time"] = false;
    jTask["status"] = json(szStatus);
    EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), 0) << szStatus;
    EXPECT_EQ(jTask["status"], json(szStatus));
  }
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(CheckRunTheSameTime, FailsOnARunningListThatIsNoArray) {
  for (const char* szRunning : {"null", "{}", "4242", "'4242'"}) {
    Json::Value jTask = running(szRunning, true);
    expectFailure("jStatus[\"running\"].type() != Json::arrayValue", LIB);
    expectLine("jTask=", LIB).beginning();
    EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -1);
  }
}

TEST_F(CheckRunTheSameTime, FailsOnARunningListThatHoldsNoNumber) {
  for (const char* szPid : {"'4242'", "[]", "{}", "1e30"}) {
    Json::Value jTask = running(std::string("[") + szPid + "]", true);
    expectFailure("!jStatus[\"running\"][i].isInt64()", LIB);
    expectLine("jTask=", LIB).beginning();
    EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -1);
  }
}

TEST_F(CheckRunTheSameTime, ALiveRunBlocksUnlessRunsMayOverlap) {
  Json::Value jAlone = running("[4242]", false);
  expectInTheWay(4242);
  EXPECT_EQ(checkRunTheSameTime(jAlone, m_pApi), -2);
  Json::Value jOverlapping = running("[4242]", true);
  EXPECT_EQ(checkRunTheSameTime(jOverlapping, m_pApi), 0);
  EXPECT_EQ(stored(), json("[4242]"));
}

TEST_F(CheckRunTheSameTime, StoresNothingWhenEveryRunIsAlive) {
  Json::Value jTask = running("[4242, 4243]", true);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), 0);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("KLIBCProcAlive(4242)", "KLIBCProcAlive(4243)"));
}

TEST_F(CheckRunTheSameTime, ADeadRunIsTakenOffTheListAndDoesNotBlock) {
  Json::Value jTask = running("[4999991]", false);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), 0);
  EXPECT_EQ(stored(), json("[]"));
  EXPECT_EQ(jTask["status"]["running"], json("[]"));
}

TEST_F(CheckRunTheSameTime, NamesEveryLiveRunAndPrunesEveryDeadOne) {
  Json::Value jTask = running("[4999991, 4242, 4999992, 4243, 4244, 4999993]", false);
  expectInTheWay(4242);
  expectInTheWay(4243);
  expectInTheWay(4244);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -2);
  EXPECT_EQ(stored(), json("[4242, 4243, 4244]"));
  EXPECT_THAT(fakes().calls(), testing::Contains(testing::StartsWith("recUpdateByFilter(task, {\"task_name\":\"a\"}")));
}

TEST_F(CheckRunTheSameTime, ANegativePidIsNamedAndTakenOffTheList) {
  Json::Value jTask = running("[-5, 4242]", true);
  expectLine("0 > pid", LIB);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), 0);
  EXPECT_EQ(stored(), json("[4242]"));
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains("KLIBCProcAlive(-5)")));
}

TEST_F(CheckRunTheSameTime, ANumberThatNoProcessCanHaveIsDead) {
  Json::Value jTask = running("[4294971538, 0]", false);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), 0) << "4294971538 is 4242 in its low 32 bits";
  EXPECT_EQ(stored(), json("[]"));
}

TEST_F(CheckRunTheSameTime, OnlyTheAnswerOneMeansAlive) {
  for (const int iAnswer : {-1, 0, 2}) {
    Json::Value jTask = running("[4242]", false);
    fakes().answer("KLIBCProcAlive", iAnswer);
    EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), 0) << iAnswer;
  }
}

TEST_F(CheckRunTheSameTime, FailsWhenAShorterListCannotBeStored) {
  Json::Value jTask = running("[4999991]", false);
  fakes().fail("recUpdateByFilter");
  expectFailure("0 > pApi->recUpdateByFilter(jFilter, jTask)", LIB);
  expectLine("jTask=", LIB).beginning();
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -1);
  EXPECT_EQ(stored(), json("[4999991]"));
}

TEST_F(CheckRunTheSameTime, ALiveRunStillBlocksWhenTheShorterListCannotBeStored) {
  Json::Value jTask = running("[4242, 4999991]", false);
  fakes().fail("recUpdateByFilter");
  expectInTheWay(4242);
  expectFailure("0 > pApi->recUpdateByFilter(jFilter, jTask)", LIB);
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -2);
}

TEST_F(CheckRunTheSameTime, APlatformThatThrowsIsAFailureWithTheLineOfTheTask) {
  Json::Value jTask = running("[4242]", true);
  fakes().before("KLIBCProcAlive", [] { throw std::runtime_error("broken"); });
  expectLine("operation given up: broken", LIB);
  expectLine("jTask=", LIB).beginning();
  EXPECT_EQ(checkRunTheSameTime(jTask, m_pApi), -1);
}
