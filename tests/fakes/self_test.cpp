// Tests of the test harness: it detects failures, and its fakes work.

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest-spi.h>
#include <new>
#include <sys/wait.h>
#include <unistd.h>

#include "engine/launcher.h"
#include "engine/runner.h"
#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

// Lets a test check the failures that the end of another test reports.
class Probe : public EorvaTest {
public:
  explicit Probe(std::function<void(Probe&)> body) : m_body(std::move(body)) {}
  using EorvaTest::expectFailure;
  using EorvaTest::expectLine;
  void TestBody() override { m_body(*this); }

private:
  std::function<void(Probe&)> m_body;
};

// The failures of a test with this body, as one text.
std::string failuresOf(const std::function<void(Probe&)>& body) {
  testing::TestPartResultArray results;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results);
    Probe probe(body);
    probe.TestBody();
  }
  std::string strFailures;
  for (int i = 0; i < results.size(); ++i) {
    strFailures += results.GetTestPartResult(i).message();
  }
  return strFailures;
}

int failingConfigGet() {
  Json::Value jIn(Json::arrayValue);
  Json::Value jOut;
  return configGet(jIn, jOut);
}

const std::string CHECK = "jIn.type() != Json::objectValue && jIn.type() != Json::nullValue";

void syslogLine(int iErrno, const std::string& strText) {
  fakes().journal().append(Journal::Kind::SYSLOG, strText, iErrno, 3);
}

Json::Value task(const std::string& strName, const std::string& strScript) {
  Json::Value jTask = json(
      "{'event': 'bootup', 'enable': true, 'depend_on_task': '', 'operation_type': 'script',"
      " 'owner': 0, 'run_the_same_time': true}");
  jTask["task_name"] = strName;
  jTask["operation"] = strScript;
  return jTask;
}

Json::Value event() {
  return json("{'event_fire_time': 1, 'trigger_event': 'bootup', 'run_time_env': {}}");
}

class Harness : public HandlesTest {};

}  // namespace

TEST(HarnessNotices, AnUnexpectedLine) {
  EXPECT_THAT(failuresOf([](Probe&) { failingConfigGet(); }), testing::HasSubstr("unexpected failure \"" + CHECK));
  EXPECT_THAT(failuresOf([](Probe&) { syslogLine(0, "util:1 (" + std::to_string(::getpid()) + ")x"); }),
              testing::HasSubstr("unexpected line \"x\""));
}

TEST(HarnessNotices, AnExpectedLineThatIsNotThere) {
  EXPECT_THAT(failuresOf([](Probe& probe) { probe.expectFailure("x", UTIL); }), testing::HasSubstr("not logged"));
}

TEST(HarnessNotices, AnotherSourceFormOrErrno) {
  const auto wrongly = [](auto expect) {
    return failuresOf([&](Probe& probe) {
      expect(probe);
      failingConfigGet();
    });
  };
  EXPECT_EQ(wrongly([](Probe& probe) { probe.expectFailure(CHECK, UTIL); }), "");
  EXPECT_NE(wrongly([](Probe& probe) { probe.expectFailure(CHECK, LIB); }), "");
  EXPECT_NE(wrongly([](Probe& probe) { probe.expectLine(CHECK, UTIL); }), "");
  EXPECT_NE(wrongly([](Probe& probe) { probe.expectFailure(CHECK, UTIL).withErrno(EIO); }), "");
}

TEST(HarnessNotices, LinesThatBreakTheirForm) {
  const std::string strPid = std::to_string(::getpid());
  for (const std::string& strLine : std::vector<std::string>{
           "util:7 (1)x", "util:0 (" + strPid + ")x", "other:7 (" + strPid + ")x", "util:7(" + strPid + ")x",
           "util:7 (" + strPid + ")(util:8)Failed [x](Input/output error)\n(Input/output error)",
           "util:7 (" + strPid + ")(util:7)Failed [x](Input/output error)(Input/output error)",
           "util:7 (" + strPid + ")(util:7)Failed [x](Input/output error)\n",
           "util:7 (" + strPid + ")(util:7)Failed [x](Success)\n(Input/output error)"}) {
    EXPECT_NE(failuresOf([&](Probe& probe) {
                probe.expectFailure("x", UTIL);
                syslogLine(EIO, strLine);
              }),
              "")
        << strLine;
  }
  EXPECT_EQ(failuresOf([&](Probe& probe) {
              probe.expectFailure("x", UTIL).withErrno(EIO);
              syslogLine(EIO, "util:7 (" + strPid + ")(util:7)Failed [x](Input/output error)\n(Input/output error)");
            }),
            "");
}

TEST(HarnessNotices, ThingsThatATestLeaves) {
  EXPECT_THAT(failuresOf([](Probe&) {
                if (::fork() == 0) {
                  ::pause();
                }
              }),
              testing::HasSubstr("nobody reaped"));
  int iFd = -1;
  EXPECT_THAT(failuresOf([&](Probe&) { iFd = ::dup(2); }), testing::HasSubstr("openDescriptors"));
  ::close(iFd);
  EXPECT_THAT(failuresOf([](Probe&) { writeFile("/tmp/eorvascheduler.script.1", ""); }),
              testing::HasSubstr("files left in /tmp"));
  PKLIBCSZLIST pList = nullptr;
  EXPECT_THAT(failuresOf([&](Probe&) { pList = KLIBCSzListAlloc(1); }), testing::HasSubstr("not freed"));
  KLIBCSzListFree(pList);
}

TEST_F(Harness, TheStoreExecutesAWhereText) {
  fakes().put("task", json("{'task_name': 'b', 'depend_on_task': '[TASK_1]', 'event': 'x'}"));
  fakes().put("task", json("{'task_name': 'a', 'depend_on_task': '[taskX1]', 'event': 'x'}"));
  fakes().put("task", json("{'task_name': 'c', 'depend_on_task': '[other]', 'event': 'y'}"));
  Json::Value jFilter;
  Json::Value jOut;
  jFilter["orvaSqlWhereFilter"] = "depend_on_task like '%[task_1]%'";
  ASSERT_EQ(m_pApi->recList(jFilter, jOut), 0);
  ASSERT_EQ(jOut.size(), 2U);
  EXPECT_EQ(jOut[0]["task_name"], "a");
  jFilter["orvaSqlWhereFilter"] = "(event='x' ) and ( task_name!='a' ) and ( task_name not in ('c'))";
  ASSERT_EQ(m_pApi->recList(jFilter, jOut), 0);
  EXPECT_EQ(jOut.size(), 1U);
  for (const char* szBroken : {"event='x", "1; DELETE FROM task", "no_column = 1", ""}) {
    jFilter["orvaSqlWhereFilter"] = szBroken;
    EXPECT_EQ(m_pApi->recList(jFilter, jOut), -1) << szBroken;
  }
}

TEST_F(Harness, TheStoreKeepsColumnsOnlyUnlessTold) {
  Json::Value jOut;
  EXPECT_EQ(m_pApi->recCreate(json("{'task_name': 'a', 'strExitCode_tmp': 'x'}"), jOut), 0);
  EXPECT_EQ(jOut, json("{'task_name': 'a'}"));
  EXPECT_EQ(m_pApi->recCreate(json("{'task_name': 'a'}"), jOut), -1);
  EXPECT_EQ(m_pApi->recList(json("{'nothing': 1}"), jOut), -1);
  fakes().keepUnknownMembers();
  EXPECT_EQ(m_pApi->recUpdateByFilter(json("{'task_name': 'a'}"), json("{'strExitCode_tmp': 'x'}")), 1);
  EXPECT_EQ(fakes().record("task", "a")["strExitCode_tmp"], "x");
  EXPECT_EQ(m_pApi->recUpdateByFilter(json("{'task_name': 'b'}"), json("{}")), 0);
  EXPECT_EQ(m_pApi->recDelete(json("{'task_name': 'b'}"), false), 0);
  EXPECT_EQ(m_pApi->recDelete(json("{'task_name': 'b'}"), true), -1);
  EXPECT_EQ(m_pApiResult->recCreate(json("{'task_name': 'a'}"), jOut), 0);
  EXPECT_EQ(jOut["result_id"], 1);
}

TEST_F(Harness, RulesMeanANameOrTheBeginningOfACall) {
  Json::Value jOut;
  fakes().fail("recList(task_result,");
  fakes().fail("recGetOne", 2);
  fakes().answer("recList(task,", 7, json("[1]")).every();
  EXPECT_EQ(m_pApi->recList(json("{}"), jOut), 7);
  EXPECT_EQ(jOut, json("[1]"));
  EXPECT_EQ(m_pApiResult->recList(json("{}"), jOut), -1);
  EXPECT_EQ(m_pApi->recGetOne(json("{}"), jOut), 0);
  EXPECT_EQ(m_pApi->recGetOne(json("{}"), jOut), -1);
  EXPECT_EQ(fakes().faults(), 2);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("recList(task, {})", "recList(task_result, {})",
                                                    "recGetOne(task, {})", "recGetOne(task, {})"));
}

TEST_F(Harness, ActionsOfAChildAreSeen) {
  addUser("alice", 4001, 4001, {4100});
  Json::Value jTask = task("a", "#!/bin/sh\nid -un\n");
  jTask["owner"] = 4001;
  Json::Value jConfig(Json::objectValue);
  Json::Value jResult = json("{'start_time': 1}");
  const pid_t pid = withoutReturn([&] { return forkRunCmd(jTask, jConfig, jResult); });
  ASSERT_GT(pid, 0);
  ASSERT_EQ(::waitpid(pid, nullptr, 0), pid);
  EXPECT_THAT(fakes().childCalls(), testing::Contains("initgroups(alice, 4001)"));
  EXPECT_EQ(readFile(jTask["strOutputPath_tmp"].asString()), "alice\n");
  EXPECT_EQ(fileOwner(jTask["strOutputPath_tmp"].asString()).first, 4001U);
  EXPECT_EQ(takeTemporaryFiles().size(), 2U);
}

TEST_F(Harness, ACallCanFailInTheChildAlone) {
  fakes().fail("KLIBCExec").inChild();
  const auto run = [] { return KLIBCExec("/x", nullptr, nullptr, nullptr, nullptr); };
  EXPECT_EQ(run(), 0);
  const pid_t pid = ::fork();
  if (pid == 0) {
    ::_exit(run() == -1 ? 7 : 1);
  }
  int iStatus = 0;
  ASSERT_EQ(::waitpid(pid, &iStatus, 0), pid);
  EXPECT_EQ(WEXITSTATUS(iStatus), 7);
  EXPECT_EQ(run(), 0);
  EXPECT_EQ(fakes().faults(), 1);
}

TEST_F(Harness, AChildThatComesBackIsCaught) {
  const std::string strScript = "/tmp/eorvascheduler.script." + std::to_string(::getpid());
  std::filesystem::create_directory(strScript);
  Json::Value jTask = task("a", "true\n");
  Json::Value jConfig(Json::objectValue);
  Json::Value jResult = json("{'start_time': 1}");
  const pid_t pid = withoutReturn([&] { return forkRunCmd(jTask, jConfig, jResult); });
  ASSERT_GT(pid, 0);
  ASSERT_EQ(::waitpid(pid, nullptr, 0), pid);
  expectDirectLine("Failed to open scriptFile [" + strScript + "]", LIB).inChild();
  EXPECT_THAT(fakes().childReturns(), testing::ElementsAre(-1));
  EXPECT_THAT(fakes().events(), testing::ElementsAre("ORVALogSet1(1, 3, 0x14400201, a, , , )"));
  EXPECT_EQ(takeTemporaryFiles().size(), 1U);
}

TEST_F(Harness, SomethingCanBeDoneBeforeACall) {
  std::vector<int> done;
  fakes().before("recList(task,", [&] { done.push_back(1); }).nth(2);
  fakes().before("recGetOne", [&] { throw std::bad_alloc(); });
  Json::Value jOut;
  EXPECT_EQ(m_pApi->recList(json("{}"), jOut), 0);
  EXPECT_THAT(done, testing::IsEmpty());
  EXPECT_EQ(m_pApi->recList(json("{}"), jOut), 0);
  EXPECT_THAT(done, testing::ElementsAre(1));
  EXPECT_THROW(m_pApi->recGetOne(json("{}"), jOut), std::bad_alloc);
  EXPECT_EQ(m_pApi->recGetOne(json("{}"), jOut), 0);
  EXPECT_EQ(fakes().faults(), 0);
}

TEST_F(Harness, ARunnerWithRealChildrenDoesNotSleep) {
  fakes().put("task", task("a", "#!/bin/sh\nexit 0\n"));
  Json::Value jList(Json::arrayValue);
  jList.append(fakes().record("task", "a"));
  Json::Value jEvent = event();
  EXPECT_EQ(runTaskArray(jList, jEvent, m_pApi, m_pApiResult, m_pDb, false), 0);
  EXPECT_EQ(fakes().records("task_result").at(0)["exit_info"], json("{'exit_type': 'normal', 'exit_code': 0}"));
  EXPECT_LE(fakes().sleeps().size(), 2U);
  EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the script: the store does not keep its path";
}

TEST_F(Harness, ARunnerWithPretendedChildrenIsInTheHandOfTheTest) {
  fakes().pretendChildren();
  fakes().onSleep([](int iPass) {
    if (iPass == 3) {
      fakes().endChild(fakes().pretendedChildren().at(0), json("{'exit_type': 'by_signal', 'exit_code': 9}"));
    }
  });
  fakes().put("task", task("a", ""));
  Json::Value jList(Json::arrayValue);
  jList.append(fakes().record("task", "a"));
  Json::Value jEvent = event();
  const time_t tStart = fakes().now();
  EXPECT_EQ(runTaskArray(jList, jEvent, m_pApi, m_pApiResult, m_pDb, false), 0);
  EXPECT_EQ(fakes().sleeps(), std::vector<unsigned int>(4, 1));
  EXPECT_EQ(fakes().records("task_result").at(0)["stop_time"].asInt64(), tStart + 3);
}

TEST_F(Harness, AnEndlessPollingIsStopped) {
  fakes().pretendChildren();
  fakes().onSleep([](int) {});
  fakes().stopAfterPasses(5);
  expectStopped();
  fakes().put("task", task("a", ""));
  Json::Value jList(Json::arrayValue);
  jList.append(fakes().record("task", "a"));
  Json::Value jEvent = event();
  EXPECT_EQ(runTaskArray(jList, jEvent, m_pApi, m_pApiResult, m_pDb, false), -1);
  EXPECT_EQ(fakes().sleeps().size(), 5U);
}

TEST_F(Harness, TheMachineIsOutOfSight) {
  EXPECT_FALSE(fileExists("/usr/orva/bin"));
  writeFile("/usr/orva/share/x", "x");
  writeFile("/etc/orvainfo.conf", "maillang=\"ger\"\n");
  char szLanguage[32] = "";
  EXPECT_EQ(KLIBCFileGetKeyValue("/etc/orvainfo.conf", "maillang", szLanguage, sizeof(szLanguage)), 1);
  EXPECT_STREQ(szLanguage, "ger");
  EXPECT_EQ(runCommand({"sh", "-c", "echo $X; echo e >&2; exit 3"}, {{"X", "y"}}).iStatus, 3);
  EXPECT_EQ(runCommand({"findmnt", "-no", "FSTYPE", "/usr"}).strOut, "overlay\n");
}
