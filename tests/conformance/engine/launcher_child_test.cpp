// forkRunCmd in the child: its commands and their recorded results. The children are real, and so are their shells,
// except where a test simulates them.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class LauncherChild : public RunsTest {
protected:
  // The shell's commands.
  static std::vector<std::string> commands() {
    std::vector<std::string> found;
    for (const std::string& strCall : fakes().childCalls()) {
      if (strCall.starts_with("system(")) {
        found.push_back(strCall.substr(7, strCall.size() - 8));
      }
    }
    return found;
  }

  CapturedStdout m_stdout;
};

}  // namespace

TEST_F(LauncherChild, WithAnOutputFolderRunsTheScriptInItAndShowsTheOutput) {
  const std::string strFolder = runFolder("a");
  Json::Value jTask = scriptTask("a", "#!/bin/sh\necho out\necho err >&2\n");
  launchAndWait(jTask, configWithOutput());
  EXPECT_THAT(commands(), testing::ElementsAre("'" + strFolder + "script.log' > '" + strFolder + "output.log' 2>&1 ",
                                               "cat " + strFolder + "output.log"));
  EXPECT_EQ(readFile(strFolder + "script.log"), "#!/bin/sh\necho out\necho err >&2\n");
  EXPECT_EQ(readFile(strFolder + "output.log"), "out\nerr\n");
  EXPECT_EQ(m_stdout.text(), "out\nerr\n");
  EXPECT_EQ(fileMode(strFolder + "script.log"), 0755U);
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
  EXPECT_THAT(takeTemporaryFiles(), testing::IsEmpty());
}

TEST_F(LauncherChild, WithoutAnOutputFolderTheOutputFileCarriesTheChildsPid) {
  Json::Value jTask = scriptTask("a", "echo out\n");
  const pid_t pid = launchAndWait(jTask);
  const std::string strOutput = fakes().strTmpFolder + "/eorvascheduler.output." + std::to_string(pid);
  EXPECT_THAT(commands(),
              testing::ElementsAre("'" + scriptOfThisProcess() + "' > '" + strOutput + "' 2>&1 ", "cat " + strOutput));
  EXPECT_EQ(readFile(strOutput), "out\n");
  EXPECT_EQ(jTask["strOutputPath_tmp"].asString(), strOutput);
  takeTemporaryFiles();
}

TEST_F(LauncherChild, WithoutAVolumeTheOutputIsNotRedirectedAndNotShownAgain) {
  fakes().strVolume = "";
  Json::Value jTask = scriptTask("a", "echo out\n");
  expectLine("no available volume > 5MB exist, cannot record output", LIB);
  launchAndWait(jTask);
  EXPECT_THAT(commands(), testing::ElementsAre("'" + scriptOfThisProcess() + "'"));
  EXPECT_EQ(m_stdout.text(), "out\n");
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
  takeTemporaryFiles();
}

TEST_F(LauncherChild, WritesTheScriptExactlyAsItIsStored) {
  for (const std::string& strScript : {std::string("exit 0"), std::string(), std::string("\r\n\xc3\xa9 \xff\n"),
                                       std::string(100000, '#'), std::string("a\0b", 3)}) {
    Json::Value jTask = scriptTask("a", strScript);
    fakes().answer("system", 0).inChild().every();
    launchAndWait(jTask);
    EXPECT_EQ(readFile(scriptOfThisProcess()), strScript);
    takeTemporaryFiles();
    fakes().clearFaults();
  }
}

TEST_F(LauncherChild, WritesItsStepsInDebugLines) {
  blDebugOutput = true;
  Json::Value jTask = scriptTask("a", "exit 3\n");
  const pid_t pid = launchAndWait(jTask);
  const std::string strOutput = fakes().strTmpFolder + "/eorvascheduler.output." + std::to_string(pid);
  for (const std::string& strText : {std::string("fork and run task=a"), std::string("run script=exit 3\n"),
                                     "running strCmd='" + scriptOfThisProcess() + "' > '" + strOutput + "' 2>&1 ",
                                     std::string("system return iStatus=768"), std::string("output="),
                                     std::string("jExit={\"exit_code\":3,\"exit_type\":\"by_signal\"}")}) {
    expectDebug(strText, LIB).inChild();
  }
  takeTemporaryFiles();
}

TEST_F(LauncherChild, LeavesTheExitCodeFileUnderItsOwnPid) {
  Json::Value jTask = scriptTask("a");
  const pid_t pid = launchAndWait(jTask);
  EXPECT_EQ(jTask["strExitCode_tmp"].asString(), "/tmp/eorvascheduler_exit_code." + std::to_string(pid));
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
  EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the script";
}

TEST_F(LauncherChild, RecordsAShellThatCannotBeRunAsANormalEnd) {
  fakes().fail("system").inChild().withErrno(EAGAIN);
  Json::Value jTask = scriptTask("a");
  const pid_t pid = launchAndWait(jTask);
  const std::string strOutput = fakes().strTmpFolder + "/eorvascheduler.output." + std::to_string(pid);
  expectLine("run command failed, command='" + scriptOfThisProcess() + "' > '" + strOutput + "' 2>&1 ", LIB)
      .inChild()
      .withErrno(EAGAIN);
  expectFailure("error exit type, iStatus=-1", UTIL).inChild();
  expectLine("get exit status failed, iStatus=-1", LIB).inChild();
  expectLine("get exit code failed, iStatus=-1, jExit={}", LIB).inChild();
  EXPECT_EQ(commands().size(), 2U) << "the output is still shown";
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
  takeTemporaryFiles();
}

TEST_F(LauncherChild, RecordsTheShellStatus255AsItIs) {
  fakes().answer("system", 255 << 8).inChild();
  Json::Value jTask = scriptTask("a");
  launchAndWait(jTask);
  expectFailure("error exit type, iStatus=255", UTIL).inChild();
  expectLine("get exit status failed, iStatus=65280, jExit={\"exit_code\":255,\"exit_type\":\"normal\"}", LIB)
      .inChild();
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 255));
  takeTemporaryFiles();
}

TEST_F(LauncherChild, RecordsAContinuedShellWithoutACodeAsANormalEnd) {
  fakes().answer("system", 0xffff).inChild();
  Json::Value jTask = scriptTask("a");
  launchAndWait(jTask);
  expectLine("get exit code failed, iStatus=65535, jExit={\"exit_type\":\"continue\"}", LIB).inChild();
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
  takeTemporaryFiles();
}

TEST_F(LauncherChild, GoesOnWhenTheExitInformationCannotBeWritten) {
  fakes().fail("rename", 2).inChild().withErrno(EROFS);
  Json::Value jTask = scriptTask("a");
  launchAndWait(jTask);
  expectLine("write exit status failed", LIB).inChild().withErrno(EROFS);
  EXPECT_TRUE(takeExitInfo(jTask).isNull());
  EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the script, and no draft";
}

TEST_F(LauncherChild, EndsWithZeroHoweverTheScriptEnded) {
  Json::Value jTask = scriptTask("a", "exit 7\n");
  launchAndWait(jTask);
  EXPECT_EQ(fakes().childCalls().back(), "_exit(0)");
  takeTemporaryFiles();
}

TEST_F(LauncherChild, BufferedOutputOfTheParentIsWrittenOnce) {
  std::printf("buffered\n");
  Json::Value jTask = scriptTask("a");
  launchAndWait(jTask);
  std::fflush(stdout);
  EXPECT_EQ(m_stdout.text(), "buffered\n");
  takeTemporaryFiles();
}

TEST_F(LauncherChild, AQuoteInAPathBreaksTheCommand) {
  Json::Value jTask = scriptTask("it's", "echo never\n");
  launchAndWait(jTask, configWithOutput());
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("stop", 0)) << "the command is one word, which the shell does not find";
  EXPECT_FALSE(fileExists(runFolder("it's") + "output.log"));
}

TEST_F(LauncherChild, ABlankInAPathIsTakenForTheRunButNotForShowingTheOutput) {
  Json::Value jTask = scriptTask("my task", "echo once\n");
  launchAndWait(jTask, configWithOutput());
  EXPECT_EQ(readFile(runFolder("my task") + "output.log"), "once\n");
  EXPECT_EQ(m_stdout.text(), "");
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
}

TEST_F(LauncherChild, TwoRunsWithoutAnOutputFolderWriteTheSameScriptFile) {
  Json::Value jFirst = scriptTask("first", "#!/bin/sh\necho first\n");
  Json::Value jSecond = scriptTask("second", "#!/bin/sh\necho second, and longer\n");
  launchAndWait(jFirst);
  launchAndWait(jSecond);
  EXPECT_EQ(jFirst["strScriptName_tmp"], jSecond["strScriptName_tmp"]);
  EXPECT_EQ(readFile(scriptOfThisProcess()), jSecond["operation"].asString());
  EXPECT_EQ(readFile(jFirst["strOutputPath_tmp"].asString()), "first\n");
  EXPECT_EQ(readFile(jSecond["strOutputPath_tmp"].asString()), "second, and longer\n");
  launchAndWait(jFirst);
  EXPECT_EQ(readFile(scriptOfThisProcess()), jFirst["operation"].asString()) << "and nothing of the longer one";
  takeTemporaryFiles();
}

TEST_F(LauncherChild, NothingThatIsThrownGetsPastTheChild) {
  for (const char* szCall : {"open", "openat", "write", "ORVAUserGetByUID", "system", "mkostemp", "fsync"}) {
    Json::Value jTask = scriptTask("a");
    jTask["owner"] = 65534;
    fakes().before(szCall, [] { throw std::bad_alloc(); }).inChild();
    launchAndWait(jTask);
    fakes().clearFaults();
    expectLine("run given up, task=a: std::bad_alloc", LIB).inChild();
    EXPECT_EQ(fakes().childCalls().back(), "_exit(0)") << szCall;
    EXPECT_THAT(fakes().childReturns(), testing::IsEmpty()) << szCall;
    EXPECT_TRUE(takeExitInfo(jTask).isNull()) << szCall;
    takeTemporaryFiles();
  }
}

TEST_F(LauncherChild, WhateverIsThrownEndsTheChild) {
  fakes().before("system", [] { throw 5; }).inChild();
  Json::Value jTask = scriptTask("a");
  launchAndWait(jTask);
  expectLine("run given up, task=a", LIB).inChild();
  EXPECT_THAT(fakes().childReturns(), testing::IsEmpty());
  takeTemporaryFiles();
}
