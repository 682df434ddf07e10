// The output and the exit-code file of a run, and traps of other users with their names while the run starts and runs.
// The children are real. The test creates a trap in the child, which knows the names, just before one of its calls.

#include "conformance/engine/runs.h"
#include "conformance/engine/traps.h"

using namespace OrvaTest;

namespace {

class RunTraps : public RunsTest {
protected:
  RunTraps() { addUser("alice", 4001, 4001); }

  static Json::Value taskOf(uid_t uidOwner) {
    Json::Value jTask = scriptTask("a", "#!/bin/sh\necho out\n");
    jTask["owner"] = uidOwner;
    return jTask;
  }
  static std::string outputOfThisProcess() {
    return fakes().strTmpFolder + "/eorvascheduler.output." + std::to_string(::getpid());
  }
  static std::string exitCodeOfThisProcess() { return "/tmp/eorvascheduler_exit_code." + std::to_string(::getpid()); }
  /// A valid exit-code file of another user; created anew, because the kernel may prevent root from writing to an
  /// existing one in /tmp.
  static void forgeExitCode() {
    const std::string strPath = exitCodeOfThisProcess();
    ::unlink(strPath.c_str());
    writeFile(strPath, "{\"exit_type\": \"normal\", \"exit_code\": 0}", 0666);
    ASSERT_EQ(::chown(strPath.c_str(), UID_STRANGER, UID_STRANGER), 0);
  }
  /// An attack of another user during the run; it may fail.
  static void asStranger(const std::function<void()>& attempt) {
    const pid_t pid = ::fork();
    if (pid == 0) {
      if (::setuid(UID_STRANGER) == 0) {
        try {
          attempt();
        } catch (const std::exception&) {
        }
      }
      ::_exit(0);
    }
    ::waitpid(pid, nullptr, 0);
  }
  static void replaceWith(const Trap& trap, const std::string& strPlace, const std::string& strVictim) {
    ::unlink(strPlace.c_str());
    const std::string strTrap = strPlace + ".trap";
    trap.plant(strTrap, strVictim);
    ::rename(strTrap.c_str(), strPlace.c_str());
    ::unlink(strTrap.c_str());
    ::rmdir(strTrap.c_str());
  }
  void expectRefused(const std::string& strOutput, const Json::Value& jTask) {
    expectLine("output is no plain file of the owner, path=" + strOutput, LIB).inChild();
    EXPECT_EQ(takeExitInfo(jTask), exitInfo("by_signal", 2)) << "like a shell that cannot open it";
    EXPECT_THAT(fakes().childCalls(), testing::Not(testing::Contains(testing::StartsWith("system("))));
    verifyLog();
  }

  CapturedStdout m_stdout;
};

}  // namespace

TEST_F(RunTraps, AnOutputTrapThatLaysThereBeforeTheRunIsRemoved) {
  for (const uid_t uidOwner : {0U, 4001U}) {
    for (const Trap& trap : traps()) {
      if (trap.blFolder) {
        continue;
      }
      const Victim victim;
      fakes().before("openat", [&] { trap.plant(outputOfThisProcess(), victim.path()); }).inChild();
      Json::Value jTask = taskOf(uidOwner);
      launchAndWait(jTask);
      fakes().clearFaults();
      const std::string strOutput = jTask["strOutputPath_tmp"].asString();
      EXPECT_EQ(readFile(strOutput), "out\n") << trap.strName;
      EXPECT_TRUE(isPlainFileOf(uidOwner, strOutput)) << trap.strName;
      EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
      EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0)) << trap.strName;
      takeTemporaryFiles();
    }
  }
}

TEST_F(RunTraps, AnOutputTrapThatIsLaidWhileTheRunStartsIsRefused) {
  for (const uid_t uidOwner : {0U, 4001U}) {
    for (const Trap& trap : traps()) {
      if (uidOwner != 0 && !trap.blFolder && trap.strName != "pipe" && trap.strName != "link") {
        continue;  // the action then runs as the owner, who cannot create the other traps
      }
      fakes().forgetCalls();
      const Victim victim;
      fakes()
          .before("open(" + fakes().strTmpFolder, [&] { trap.plant(outputOfThisProcess(), victim.path()); })
          .inChild();
      Json::Value jTask = taskOf(uidOwner);
      launchAndWait(jTask);
      fakes().clearFaults();
      expectRefused(jTask["strOutputPath_tmp"].asString(), jTask);
      EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
      std::filesystem::remove_all(jTask["strOutputPath_tmp"].asString());
      takeTemporaryFiles();
    }
  }
}

TEST_F(RunTraps, AnOutputTrapThatComesJustBeforeTheShellDoesNoHarm) {
  for (const Trap& trap : traps()) {
    const Victim victim;
    // The folder is open to everybody, but the run's files in it are its own.
    fakes()
        .before("system(",
                [&] {
                  const std::string strPlace = outputOfThisProcess();
                  asStranger([&] { replaceWith(trap, strPlace, victim.path()); });
                })
        .inChild();
    Json::Value jTask = taskOf(0);
    launchAndWait(jTask);
    fakes().clearFaults();
    const std::string strOutput = jTask["strOutputPath_tmp"].asString();
    EXPECT_EQ(readFile(strOutput), "out\n") << trap.strName;
    EXPECT_TRUE(isPlainFileOf(0, strOutput)) << trap.strName;
    EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
    EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0)) << trap.strName;
    takeTemporaryFiles();
  }
}

TEST_F(RunTraps, AFolderInThePlaceOfTheTemporaryOutputIsRefused) {
  fakes().before("openat", [] { std::filesystem::create_directory(outputOfThisProcess()); }).inChild();
  Json::Value jTask = taskOf(4001);
  launchAndWait(jTask);
  fakes().clearFaults();
  expectRefused(jTask["strOutputPath_tmp"].asString(), jTask);
  takeTemporaryFiles();
}

TEST_F(RunTraps, AnOutputTrapInTheRunsFolderIsRefused) {
  for (const Trap& trap : traps()) {
    fakes().forgetCalls();
    const std::string strOutput = runFolder("a") + "output.log";
    std::filesystem::create_directories(runFolder("a"));
    const Victim victim;
    trap.plant(strOutput, victim.path());
    Json::Value jTask = taskOf(0);
    launchAndWait(jTask, configWithOutput());
    if (trap.strName == "dangling link") {
      EXPECT_FALSE(fileExists(victim.path() + "2"));
    }
    expectRefused(strOutput, jTask);
    EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
    std::filesystem::remove_all(runFolder("a"));
  }
}

TEST_F(RunTraps, AnOutputOfTheOwnersOwnIsWrittenAnew) {
  std::filesystem::create_directories(runFolder("a"));
  writeFile(runFolder("a") + "output.log", "an older and longer output\n");
  ASSERT_EQ(::chown((runFolder("a") + "output.log").c_str(), 4001, 4001), 0);
  Json::Value jTask = taskOf(4001);
  launchAndWait(jTask, configWithOutput());
  EXPECT_EQ(readFile(runFolder("a") + "output.log"), "out\n");
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
}

TEST_F(RunTraps, AnExitCodeTrapIsReplacedBeforeTheSwitchToTheOwner) {
  for (const uid_t uidOwner : {0U, 4001U}) {
    for (const Trap& trap : traps()) {
      const Victim victim;
      fakes().before("mkostemp", [&] { trap.plant(exitCodeOfThisProcess(), victim.path()); }).inChild();
      EXPECT_EQ(runOne(store(taskOf(uidOwner))), 0);
      fakes().clearFaults();
      EXPECT_EQ(fakes().records("task_result").back()["exit_info"], exitInfo("normal", 0)) << trap.strName;
      EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
      EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the script; " << trap.strName;
    }
  }
}

TEST_F(RunTraps, AFolderWithContentInThePlaceOfTheExitCodeFileIsMovedAside) {
  fakes().before("mkostemp", [] { writeFile(exitCodeOfThisProcess() + "/below/file", "x"); }).inChild();
  EXPECT_EQ(runOne(store(taskOf(4001))), 0);
  EXPECT_EQ(run(1)["exit_info"], exitInfo("normal", 0));
  const std::vector<std::string> left = takeTemporaryFiles();
  ASSERT_EQ(left.size(), 2U) << "the script and the folder";
  EXPECT_THAT(left.back(), testing::StartsWith("eorvascheduler_exit_code." + run(1)["pid"].asString() + "."));
}

// Process ids can be predicted, so an attacker can try all of the next ones.
TEST_F(RunTraps, ExitCodeTrapsOfAllComingProcessIdsDoNotChangeAnyOutcome) {
  constexpr int TRAPS = 10000;
  constexpr int RUNS = 30;
  const Victim victim;
  const std::vector<Trap> kinds = traps();
  for (int i = 1; i <= TRAPS; ++i) {
    const pid_t pid = ::getpid() + i;
    kinds[static_cast<std::size_t>(i) % kinds.size()].plant("/tmp/eorvascheduler_exit_code." + std::to_string(pid),
                                                            victim.path());
  }
  const Json::Value jTask = store(taskOf(4001));
  for (int iRun = 1; iRun <= RUNS; ++iRun) {
    EXPECT_EQ(runOne(jTask), 0);
    EXPECT_EQ(run(iRun)["exit_info"], exitInfo("normal", 0)) << iRun;
    EXPECT_FALSE(fileExists("/tmp/eorvascheduler_exit_code." + run(iRun)["pid"].asString()));
  }
  EXPECT_TRUE(victim.isUnharmed());
  takeTemporaryFiles();
}

// In a folder with the sticky bit, only root and a file's owner can replace the file.
TEST_F(RunTraps, ThePlaceOfTheExitCodeFileCannotBeTakenByAStranger) {
  for (const Trap& trap : traps()) {
    const Victim victim;
    fakes()
        .before("seteuid",
                [&] {
                  const std::string strPlace = exitCodeOfThisProcess();
                  if (!isPlainFileOf(4001, strPlace)) {
                    throw std::runtime_error("the owner has no exit-code file");
                  }
                  asStranger([&] { replaceWith(trap, strPlace, victim.path()); });
                })
        .inChild();
    EXPECT_EQ(runOne(store(taskOf(4001))), 0);
    fakes().clearFaults();
    EXPECT_EQ(fakes().records("task_result").back()["exit_info"], exitInfo("normal", 0)) << trap.strName;
    EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
    EXPECT_EQ(takeTemporaryFiles().size(), 1U) << trap.strName;
  }
}

TEST_F(RunTraps, AnExitCodeTrapThatCouldNotBeReplacedIsNotBelieved) {
  for (const Trap& trap : traps()) {
    const Victim victim;
    fakes().fail("mkostemp").inChild().withErrno(ENOSPC);
    fakes()
        .before("seteuid",
                [&] {
                  trap.plant(exitCodeOfThisProcess(), victim.path());
                  if (trap.strName == "stranger's file") {
                    forgeExitCode();
                  }
                })
        .inChild();
    const int iResultId = static_cast<int>(fakes().records("task_result").size()) + 1;
    EXPECT_EQ(runOne(store(taskOf(4001))), 0);
    fakes().clearFaults();
    const std::string strPath = "/tmp/eorvascheduler_exit_code." + run(iResultId)["pid"].asString();
    expectLine("exit code file not created, path=" + strPath, LIB).inChild().withErrno(ENOSPC);
    expectLine("write exit status failed", LIB).inChild();
    expectLine("load exit code failed, path=" + strPath, LIB);
    EXPECT_EQ(run(iResultId)["exit_info"], Json::Value(Json::objectValue)) << trap.strName;
    EXPECT_TRUE(run(iResultId).isMember("stop_time")) << trap.strName;
    EXPECT_TRUE(victim.isUnharmed()) << trap.strName;
    EXPECT_EQ(takeTemporaryFiles().size(), trap.blFolder ? 2U : 1U) << trap.strName;
    verifyLog();
  }
}

TEST_F(RunTraps, AnExitCodeFileThatCannotGetItsPlaceLeavesNothingElse) {
  fakes().fail("rename").inChild().withErrno(EBUSY);
  fakes().fail("renameat2").inChild().withErrno(EBUSY);
  Json::Value jTask = taskOf(4001);
  launchAndWait(jTask);
  expectLine("exit code file not created, path=" + jTask["strExitCode_tmp"].asString(), LIB).inChild().withErrno(EBUSY);
  EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
  EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the script";
}

TEST_F(RunTraps, ARunWithoutIdentityLeavesNoExitCodeFile) {
  fakes().fail("setuid").inChild();
  Json::Value jTask = taskOf(4001);
  launchAndWait(jTask);
  EXPECT_FALSE(fileExists(jTask["strExitCode_tmp"].asString()));
  takeTemporaryFiles();
  ignoreLog();
}

TEST_F(RunTraps, AScriptMayRemoveTheExitCodeFile) {
  Json::Value jTask = taskOf(4001);
  jTask["operation"] = "#!/bin/sh\nrm -f /tmp/eorvascheduler_exit_code.*\nexit 3\n";
  EXPECT_EQ(runOne(store(jTask)), 0);
  EXPECT_EQ(run(1)["exit_info"], exitInfo("by_signal", 3));
  takeTemporaryFiles();
}

TEST_F(RunTraps, NoScriptHasTheExitCodeFileOpen) {
  Json::Value jTask = taskOf(4001);
  jTask["operation"] = "#!/bin/sh\nls -l /proc/$$/fd /proc/$PPID/fd\n";
  launchAndWait(jTask);
  const std::string strOutput = readFile(jTask["strOutputPath_tmp"].asString());
  EXPECT_THAT(strOutput, testing::HasSubstr("eorvascheduler.output"));
  EXPECT_THAT(strOutput, testing::Not(testing::HasSubstr("exit_code")));
  takeExitInfo(jTask);
  takeTemporaryFiles();
}

TEST_F(RunTraps, AKilledChildLeavesNoExitCodeFile) {
  fakes().before("system(", [] { ::kill(::getpid(), SIGKILL); }).inChild();
  EXPECT_EQ(runOne(store(taskOf(4001))), 0);
  expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code." + run(1)["pid"].asString(), LIB);
  EXPECT_EQ(run(1)["exit_info"], Json::Value(Json::objectValue));
  EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the script";
}

TEST_F(RunTraps, AScriptThatWritesItsOwnExitCodeFileIsOverruled) {
  Json::Value jTask = taskOf(4001);
  jTask["operation"] =
      "#!/bin/sh\nfor pid in $PPID $(cut -d' ' -f4 /proc/$PPID/stat); do\n"
      "  echo '{\"exit_type\": \"normal\", \"exit_code\": 0}' > /tmp/eorvascheduler_exit_code.$pid\ndone\nexit 3\n";
  EXPECT_EQ(runOne(store(jTask)), 0);
  EXPECT_EQ(run(1)["exit_info"], exitInfo("by_signal", 3));
  takeTemporaryFiles();
}
