// Whole executions with real children and all kinds of scripts.

#include <filesystem>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/stat.h>

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class RealChildren : public RunsTest {
protected:
  RealChildren() { keepOutput(); }

  // Runs a script of root to its end. The test then checks the run's record and output.
  void runScript(const std::string& strScript) {
    m_strFolder = runFolder("a");
    std::filesystem::remove_all(m_strFolder);
    m_iResultId = static_cast<int>(fakes().records("task_result").size()) + 1;
    EXPECT_EQ(runOne(store(scriptTask("a", strScript))), 0);
  }
  Json::Value exitOf(const std::string& strScript) {
    runScript(strScript);
    return run(m_iResultId)["exit_info"];
  }
  std::string output() { return readFile(m_strFolder + "output.log"); }

  std::string m_strFolder;
  int m_iResultId = 0;
  CapturedStdout m_stdout;
};

}  // namespace

TEST_F(RealChildren, ScriptAndOutputOfAUserHaveTheirOwnersAndModes) {
  addUser("bert", 4021, 4025);
  const std::string strFolder = runFolder("a");
  Json::Value jTask = scriptTask("a", "#!/bin/sh\nid -un\n");
  jTask["owner"] = 4021;
  EXPECT_EQ(runOne(store(jTask)), 0);
  EXPECT_EQ(run(1)["exit_info"], exitInfo("normal", 0));
  EXPECT_EQ(readFile(strFolder + "output.log"), "bert\n");
  EXPECT_EQ(fileOwner(strFolder + "output.log"), std::pair(4021U, 4025U));
  EXPECT_EQ(fileMode(strFolder + "output.log"), 0644U);
  EXPECT_EQ(fileOwner(strFolder + "script.log"), std::pair(0U, 0U));
  EXPECT_EQ(fileMode(strFolder + "script.log"), 0755U);
  EXPECT_THAT(takeTemporaryFiles(), testing::IsEmpty());
}

TEST_F(RealChildren, TasksOfDifferentOwnersRunSideBySideUnderTheirOwnNames) {
  addUser("alice", 4001, 4001);
  addUser("bob", 4002, 4002);
  const std::string strA = runFolder("a");
  const std::string strB = runFolder("b");
  for (const std::string strName : {"a", "b"}) {
    Json::Value jTask = scriptTask(strName, "#!/bin/sh\nid -un\n");
    jTask["owner"] = strName == "a" ? 4001 : 4002;
    store(jTask);
  }
  store(dependant("join", "[a][b]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "b", "join"));
  EXPECT_EQ(readFile(strA + "output.log"), "alice\n");
  EXPECT_EQ(readFile(strB + "output.log"), "bob\n");
  for (const Json::Value& jRun : fakes().records("task_result")) {
    EXPECT_EQ(jRun["exit_info"], exitInfo("normal", 0));
  }
}

TEST_F(RealChildren, AnExitStatusIsRecordedAsItsSecondDecodingSays) {
  const struct {
    int iStatus;
    const char* szType;
    int iCode;
  } rows[] = {
      {0, "normal", 0},       {1, "by_signal", 1},     {3, "by_signal", 3},   {126, "by_signal", 126},
      {127, "stop", 0},       {128, "normal", 0},      {129, "by_signal", 1}, {137, "by_signal", 9},
      {143, "by_signal", 15}, {254, "by_signal", 126},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(exitOf("#!/bin/sh\nexit " + std::to_string(row.iStatus) + "\n"), exitInfo(row.szType, row.iCode))
        << row.iStatus;
  }
  EXPECT_EQ(exitOf("#!/bin/sh\nexit 255\n"), exitInfo("normal", 255));
  expectFailure("error exit type, iStatus=255", UTIL).inChild();
  expectLine("get exit status failed, iStatus=65280, jExit={\"exit_code\":255,\"exit_type\":\"normal\"}", LIB)
      .inChild();
}

TEST_F(RealChildren, ASignalThatKillsTheScriptIsRecordedWithItsNumber) {
  const std::set<int> harmless = {SIGCHLD, SIGCONT, SIGURG, SIGWINCH};
  // The signals that stop a process, and two that the shell does not send.
  const std::set<int> leftOut = {SIGSTOP, SIGTSTP, SIGTTIN, SIGTTOU, 32, 33};
  for (int iSignal = 1; iSignal <= 64; ++iSignal) {
    if (leftOut.contains(iSignal)) {
      continue;
    }
    const Json::Value jExit = exitOf("#!/bin/sh\nulimit -c 0\nkill -" + std::to_string(iSignal) + " $$\n");
    EXPECT_EQ(jExit, harmless.contains(iSignal) ? exitInfo("normal", 0) : exitInfo("by_signal", iSignal)) << iSignal;
  }
}

TEST_F(RealChildren, AScriptWithoutAnInterpreterLineIsRunByTheShell) {
  EXPECT_EQ(exitOf("echo plain\nexit 4"), exitInfo("by_signal", 4));
  EXPECT_EQ(output(), "plain\n");
}

TEST_F(RealChildren, AnEmptyScriptEndsWell) {
  EXPECT_EQ(exitOf(""), exitInfo("normal", 0));
  EXPECT_EQ(output(), "");
}

TEST_F(RealChildren, AScriptWithCarriageReturnsFailsAsTheShellSays) {
  EXPECT_EQ(exitOf("#!/bin/sh\r\necho never\r\n"), exitInfo("stop", 0)) << "no such interpreter: 127";
  EXPECT_THAT(output(), testing::HasSubstr("not found"));
}

TEST_F(RealChildren, AMissingInterpreterIsTheShells127) {
  EXPECT_EQ(exitOf("#!/no/such/interpreter\n"), exitInfo("stop", 0));
}

TEST_F(RealChildren, AnotherInterpreterIsFound) {
  EXPECT_EQ(exitOf("#!/usr/bin/perl\nprint 6 * 7, \"\\n\";\n"), exitInfo("normal", 0));
  EXPECT_EQ(output(), "42\n");
}

TEST_F(RealChildren, AScriptThatLeavesSomethingInTheBackgroundIsClosedWithoutIt) {
  ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 1), 0);
  ASSERT_EQ(::mkfifo("/tmp/gate", 0600), 0);
  fakes().onSleep([](int) { fakes().waitForChild(run(1)["pid"].asInt()); });
  EXPECT_EQ(exitOf("#!/bin/sh\n(read line < /tmp/gate; echo $line) &\necho first\nexit 5\n"), exitInfo("by_signal", 5));
  EXPECT_EQ(output(), "first\n");
  EXPECT_EQ(task("a")["status"], json("{'running': []}"));
  const auto left = children();
  ASSERT_EQ(left.size(), 1U) << "the test reaped it, so the library did not wait for it";
  const int iGate = ::open("/tmp/gate", O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(::write(iGate, "late\n", 5), 5);
  ::close(iGate);
  EXPECT_EQ(::waitpid(left[0], nullptr, 0), left[0]);
  EXPECT_EQ(output(), "first\nlate\n");
  ::unlink("/tmp/gate");
  ASSERT_EQ(::prctl(PR_SET_CHILD_SUBREAPER, 0), 0);
}

TEST_F(RealChildren, FiftyMegabytesOfOutputAreKeptWhole) {
  constexpr off_t CB = 50 * 1024 * 1024;
  EXPECT_EQ(exitOf("#!/bin/sh\nhead -c " + std::to_string(CB) + " /dev/zero\n"), exitInfo("normal", 0));
  EXPECT_EQ(std::filesystem::file_size(m_strFolder + "output.log"), static_cast<uintmax_t>(CB));
  EXPECT_EQ(m_stdout.size(), CB) << "shown on standard output";
}

TEST_F(RealChildren, AScriptMayRemoveItsOwnFile) {
  EXPECT_EQ(exitOf("#!/bin/sh\nrm -f \"$0\"\nexit 6\n"), exitInfo("by_signal", 6));
}

TEST_F(RealChildren, AScriptCannotReadTheDescriptorsOfTheRunner) {
  // The host's own open descriptors show that the check works.
  const TempDir dir;
  writeFile(dir.path("of_the_host"), "");
  const int iFd = ::open(dir.path("of_the_host").c_str(), O_RDONLY);
  EXPECT_EQ(exitOf("#!/bin/sh\nexec ls -l /proc/self/fd\n"), exitInfo("normal", 0));
  ::close(iFd);
  EXPECT_NE(output().find("/of_the_host\n"), std::string::npos) << output();
  EXPECT_EQ(output().find("script.log"), std::string::npos) << output();
}

TEST_F(RealChildren, AChildThatCannotWriteItsScriptLeavesARunWithoutAnOutcome) {
  std::filesystem::create_directories(runFolder("a") + "script.log");
  const std::string strScript = runFolder("a") + "script.log";
  EXPECT_EQ(runOne(store(scriptTask("a"))), 0);
  expectDirectLine("Failed to open scriptFile [" + strScript + "]", LIB).inChild();
  expectFailure("0 >= (pid = forkRunCmd(jTask, jConfig, jResult))", LIB).inChild();
  expectLine("0 > (pid=runTask(jCurr, jEvent, pApi, pApiResult, pDb, jConfig, jResult))", LIB).inChild();
  expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code." + run(1)["pid"].asString(), LIB);
  EXPECT_THAT(fakes().childReturns(), testing::ElementsAre(0)) << "it comes back as a runner that had nothing to run";
  EXPECT_EQ(run(1)["exit_info"], Json::Value(Json::objectValue));
  EXPECT_TRUE(run(1).isMember("stop_time"));
  EXPECT_EQ(task("a")["status"], json("{'running': []}"));
}

TEST_F(RealChildren, AChildThatCannotWriteItsScriptGoesOnWithTheTasksBehindIt) {
  std::filesystem::create_directories(runFolder("a") + "script.log");
  const std::string strScript = runFolder("a") + "script.log";
  store(scriptTask("a"));
  Json::Value jBehind = scriptTask("b");
  jBehind["operation_type"] = "none";
  store(jBehind);
  EXPECT_EQ(fire(), 0);
  expectDirectLine("OpType is not script [none]", LIB);
  expectFailure("0 >= (pid = forkRunCmd(jTask, jConfig, jResult))", LIB);
  expectLine("0 > (pid=runTask(jCurr, jEvent, pApi, pApiResult, pDb, jConfig, jResult))", LIB);
  expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code." + run(1)["pid"].asString(), LIB);
  for (const std::string& strFirst :
       {"Failed to open scriptFile [" + strScript + "]", std::string("OpType is not script [none]")}) {
    expectDirectLine(strFirst, LIB).inChild();
    expectFailure("0 >= (pid = forkRunCmd(jTask, jConfig, jResult))", LIB).inChild();
    expectLine("0 > (pid=runTask(jCurr, jEvent, pApi, pApiResult, pDb, jConfig, jResult))", LIB).inChild();
  }
  EXPECT_EQ(fakes().events().size(), 3U) << "that of b is written twice";
}
