// The script file of a run, and traps of other users with its name. The children are real.

#include <filesystem>
#include <sys/stat.h>

#include "conformance/engine/runs.h"
#include "conformance/engine/traps.h"

using namespace OrvaTest;

namespace {

const std::string SCRIPT = "#!/bin/sh\nexit 9\n";

class ScriptFile : public RunsTest {
protected:
  // A launch whose child cannot write its script: it logs an event and returns.
  void expectComesBack(Json::Value jTask, const Json::Value& jConfig, const std::string& strLine) {
    launchAndWait(jTask, jConfig);
    fakes().clearFaults();
    expectDirectLine(strLine, LIB).inChild();
    EXPECT_THAT(fakes().childReturns(), testing::ElementsAre(-1));
    EXPECT_THAT(fakes().events(), testing::ElementsAre("ORVALogSet1(1, 3, 0x14400201, a, , , )"));
    EXPECT_THAT(fakes().childCalls(), testing::Not(testing::Contains(testing::StartsWith("system("))));
    EXPECT_TRUE(takeExitInfo(jTask).isNull());
    verifyLog();
  }

  CapturedStdout m_stdout;
};

}  // namespace

TEST_F(ScriptFile, IsTheRunnersOwnAndExecutable) {
  ::umask(077);
  Json::Value jTask = scriptTask("a", SCRIPT);
  launchAndWait(jTask);
  EXPECT_EQ(fileMode(scriptOfThisProcess()), 0755U);
  EXPECT_EQ(fileOwner(scriptOfThisProcess()), std::pair(0U, 0U));
  takeTemporaryFiles();
}

TEST_F(ScriptFile, TakesThePlaceOfATrapInTheTemporaryFolder) {
  for (const Trap& trap : traps()) {
    if (trap.blFolder) {
      continue;
    }
    const Victim victim;
    trap.plant(scriptOfThisProcess(), victim.path());
    Json::Value jTask = scriptTask("a", SCRIPT);
    launchAndWait(jTask);
    EXPECT_EQ(takeExitInfo(jTask), exitInfo("by_signal", 9)) << trap.strName;
    EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
    EXPECT_TRUE(isPlainFileOf(0, scriptOfThisProcess())) << trap.strName;
    EXPECT_EQ(readFile(scriptOfThisProcess()), SCRIPT) << trap.strName;
    takeTemporaryFiles();
  }
}

TEST_F(ScriptFile, TakesThePlaceOfATrapInTheRunsFolder) {
  for (const Trap& trap : traps()) {
    if (trap.blFolder) {
      continue;
    }
    const std::string strScript = runFolder("a") + "script.log";
    std::filesystem::create_directories(runFolder("a"));
    const Victim victim;
    trap.plant(strScript, victim.path());
    Json::Value jTask = scriptTask("a", SCRIPT);
    launchAndWait(jTask, configWithOutput());
    EXPECT_EQ(takeExitInfo(jTask), exitInfo("by_signal", 9)) << trap.strName;
    EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
    EXPECT_TRUE(isPlainFileOf(0, strScript)) << trap.strName;
    std::filesystem::remove_all(runFolder("a"));
  }
}

TEST_F(ScriptFile, APipeThatSomebodyReadsIsNotWrittenTo) {
  ASSERT_EQ(::mkfifo(scriptOfThisProcess().c_str(), 0666), 0);
  const int iReader = ::open(scriptOfThisProcess().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  Json::Value jTask = scriptTask("a", SCRIPT);
  launchAndWait(jTask);
  char c = 0;
  EXPECT_LE(::read(iReader, &c, 1), 0);
  ::close(iReader);
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("by_signal", 9));
  takeTemporaryFiles();
}

TEST_F(ScriptFile, AnotherUserWithAnOpenDescriptorCannotWriteIntoTheScript) {
  writeFile(scriptOfThisProcess(), "old", 0666);
  ASSERT_EQ(::chown(scriptOfThisProcess().c_str(), 4002, 4002), 0);
  const int iFd = ::open(scriptOfThisProcess().c_str(), O_RDWR | O_CLOEXEC);
  Json::Value jTask = scriptTask("a", SCRIPT);
  launchAndWait(jTask);
  EXPECT_EQ(::pwrite(iFd, "echo stolen", 11, 0), 11);
  ::close(iFd);
  EXPECT_EQ(readFile(scriptOfThisProcess()), SCRIPT);
  takeTemporaryFiles();
}

TEST_F(ScriptFile, AFolderInItsPlaceBringsTheChildBack) {
  std::filesystem::create_directory(scriptOfThisProcess());
  expectComesBack(scriptTask("a"), json("{}"), "Failed to open scriptFile [" + scriptOfThisProcess() + "]");
  takeTemporaryFiles();
}

TEST_F(ScriptFile, ARunFolderThatIsALinkBringsTheChildBack) {
  const TempDir elsewhere;
  std::string strFolder = runFolder("a");
  strFolder.pop_back();
  std::filesystem::create_directories(std::filesystem::path(strFolder).parent_path());
  std::filesystem::create_symlink(elsewhere.path(), strFolder);
  expectComesBack(scriptTask("a"), configWithOutput(), "Failed to open scriptFile [" + strFolder + "/script.log]");
  EXPECT_TRUE(std::filesystem::is_empty(elsewhere.path()));
}

TEST_F(ScriptFile, AMissingRunFolderBringsTheChildBack) {
  fakes().answer("ORVAFSMkdirP", 0);
  expectComesBack(scriptTask("a"), configWithOutput(), "Failed to open scriptFile [" + runFolder("a") + "script.log]");
}

TEST_F(ScriptFile, AFailedCallBringsTheChildBack) {
  for (const char* szCall : {"open", "openat", "write", "close(", "fchmod"}) {
    const bool blMode = std::string("fchmod") == szCall;
    const std::string strLine = blMode ? "Failed to change mode with file [" : "Failed to open scriptFile [";
    fakes().reset();
    verifyLog();
    fakes().fail(szCall).inChild().withErrno(ENOSPC);
    if (std::string("write") == szCall) {
      expectLine("script not written, path=" + scriptOfThisProcess(), LIB).inChild().withErrno(ENOSPC);
    }
    expectComesBack(scriptTask("a"), json("{}"), strLine + scriptOfThisProcess() + "]");
    takeTemporaryFiles();
  }
}

TEST_F(ScriptFile, AForeignFileThatCannotBeRemovedBringsTheChildBack) {
  writeFile(scriptOfThisProcess(), "old");
  ASSERT_EQ(::chown(scriptOfThisProcess().c_str(), 4002, 4002), 0);
  fakes().fail("unlinkat").inChild().withErrno(EPERM);
  expectComesBack(scriptTask("a"), json("{}"), "Failed to open scriptFile [" + scriptOfThisProcess() + "]");
  EXPECT_EQ(readFile(scriptOfThisProcess()), "old");
  takeTemporaryFiles();
}

TEST_F(ScriptFile, ALeftOverFileThatCannotBeEmptiedIsReplaced) {
  writeFile(scriptOfThisProcess(), "something much longer than the script of this run\n");
  fakes().fail("ftruncate").inChild();
  Json::Value jTask = scriptTask("a", SCRIPT);
  launchAndWait(jTask);
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("by_signal", 9));
  EXPECT_EQ(readFile(scriptOfThisProcess()), SCRIPT);
  takeTemporaryFiles();
}

TEST_F(ScriptFile, ALostEventDoesNotKeepTheChildFromComingBack) {
  fakes().fail("ORVALogSet1").inChild();
  std::filesystem::create_directory(scriptOfThisProcess());
  expectComesBack(scriptTask("a"), json("{}"), "Failed to open scriptFile [" + scriptOfThisProcess() + "]");
  takeTemporaryFiles();
}
