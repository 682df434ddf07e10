// The identity of a script. The children and their user are real.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

const std::string GIVEN_UP = "ChangeUserCtx failed, current uid=";

class Identity : public RunsTest {
protected:
  Identity() { addUser("anna", 4011, 4015, {4100, 4101}, "/tmp/anna"); }

  static Json::Value taskOfAnna(const std::string& strScript = "exit 0\n") {
    Json::Value jTask = scriptTask("a", strScript);
    jTask["owner"] = 4011;
    return jTask;
  }

  // The output of that task's script.
  static std::string outputOf(Json::Value jTask) {
    launchAndWait(jTask);
    EXPECT_EQ(takeExitInfo(jTask), exitInfo("normal", 0));
    takeTemporaryFiles();
    return readFile(jTask["strOutputPath_tmp"].asString());
  }

  // A launch that ends before its script because the identity cannot be switched.
  void expectGivenUp(unsigned int uUid = 0) {
    Json::Value jTask = taskOfAnna();
    launchAndWait(jTask);
    fakes().clearFaults();
    const std::string strUid = std::to_string(uUid);
    expectLine(GIVEN_UP + strUid + ", target euid=4011", LIB).inChild();
    expectDirectLine("Failed to change user [" + strUid + "] != [4011]", LIB).inChild();
    EXPECT_THAT(fakes().events(), testing::ElementsAre("ORVALogSet1(1, 3, 0x14400200, a, , , )"));
    const auto calls = fakes().childCalls();
    EXPECT_EQ(calls.back(), "_exit(0)");
    EXPECT_THAT(calls, testing::Not(testing::Contains(testing::StartsWith("system("))));
    EXPECT_THAT(fakes().childReturns(), testing::IsEmpty());
    EXPECT_TRUE(takeExitInfo(jTask).isNull());
    EXPECT_EQ(takeTemporaryFiles().size(), 1U) << "the script";
    verifyLog();
    fakes().forgetCalls();
  }

  // The calls of the switch itself, in their order.
  static std::vector<std::string> switchCalls() {
    std::vector<std::string> found;
    for (const std::string& strCall : fakes().childCalls()) {
      for (const char* szName : {"ORVAUser", "seteuid(", "setgid(", "initgroups(", "setuid("}) {
        if (strCall.starts_with(szName)) {
          found.push_back(strCall);
        }
      }
    }
    return found;
  }

  CapturedStdout m_stdout;
};

}  // namespace

TEST_F(Identity, ChangesNothingWhenTheCallerIsTheOwner) {
  Json::Value jTask = scriptTask("a");
  launchAndWait(jTask);
  EXPECT_THAT(switchCalls(), testing::IsEmpty());
  takeTemporaryFiles();
}

TEST_F(Identity, ChangesNothingWhenACallerOtherThanRootIsTheOwner) {
  fakes().answer("getuid", 4011).inChild().every();
  Json::Value jTask = taskOfAnna();
  launchAndWait(jTask);
  EXPECT_THAT(switchCalls(), testing::IsEmpty());
  takeTemporaryFiles();
}

TEST_F(Identity, TakesItsStepsInTheirOrder) {
  Json::Value jTask = taskOfAnna();
  launchAndWait(jTask);
  auto calls = switchCalls();
  ASSERT_GE(calls.size(), 5U);
  EXPECT_EQ(calls.back(), "ORVAUserFree(anna)");
  calls.resize(5);
  EXPECT_THAT(calls, testing::ElementsAre("ORVAUserGetByUID(4011)", "seteuid(0)", "setgid(4015)",
                                          "initgroups(anna, 4015)", "setuid(4011)"));
  takeTemporaryFiles();
}

TEST_F(Identity, RealEffectiveAndSavedIdsAreTheOwners) {
  const std::string strStatus = outputOf(taskOfAnna("grep -E '^(Uid|Gid|Groups|CapEff|CapPrm):' /proc/self/status\n"));
  EXPECT_THAT(strStatus, testing::HasSubstr("Uid:\t4011\t4011\t4011\t4011\n"));
  EXPECT_THAT(strStatus, testing::HasSubstr("Gid:\t4015\t4015\t4015\t4015\n"));
  EXPECT_THAT(strStatus, testing::HasSubstr("Groups:\t4015 4100 4101 \n"));
  EXPECT_THAT(strStatus, testing::HasSubstr("CapPrm:\t0000000000000000\n"));
  EXPECT_THAT(strStatus, testing::HasSubstr("CapEff:\t0000000000000000\n"));
}

TEST_F(Identity, SetsHomeUserAndLogname) {
  ::setenv("USER", "root", 1);
  ::setenv("LOGNAME", "root", 1);
  EXPECT_EQ(outputOf(taskOfAnna("echo \"$HOME $USER $LOGNAME\"\n")), "/tmp/anna anna anna\n");
}

TEST_F(Identity, LeavesTheEnvironmentOfTheCallersOwnTasks) {
  ::setenv("HOME", "/tmp/nowhere", 1);
  EXPECT_EQ(outputOf(scriptTask("a", "echo \"$HOME\"\n")), "/tmp/nowhere\n");
}

TEST_F(Identity, RootDoesNotComeBack) {
  writeFile("/tmp/secret", "secret", 0600);
  const std::string strOut = outputOf(
      taskOfAnna("perl -e '$> = 0; $< = 0; $( = 0; $) = 0; print \"$< $>\\n\"; print open(F, \"<\", \"/tmp/secret\")"
                 " ? \"read\\n\" : \"refused\\n\"'\n"));
  EXPECT_EQ(strOut, "4011 4011\nrefused\n");
  ::unlink("/tmp/secret");
}

TEST_F(Identity, FilesThatTheScriptMakesAreTheOwners) {
  Json::Value jTask = taskOfAnna("echo x > \"$HOME/made\"\n");
  launchAndWait(jTask);
  EXPECT_EQ(fileOwner("/tmp/anna/made"), std::pair(4011U, 4015U));
  EXPECT_EQ(fileOwner(jTask["strExitCode_tmp"].asString()), std::pair(4011U, 4015U));
  EXPECT_EQ(fileOwner(jTask["strOutputPath_tmp"].asString()), std::pair(4011U, 4015U));
  EXPECT_EQ(fileOwner(jTask["strScriptName_tmp"].asString()), std::pair(0U, 0U));
  takeTemporaryFiles();
}

TEST_F(Identity, AnUnknownOwnerEndsTheRunAndTellsTheAdministrators) {
  for (const bool blSaysSuccess : {false, true}) {
    if (blSaysSuccess) {
      fakes().answer("ORVAUserGetByUID", 0).inChild();
    } else {
      fakes().fail("ORVAUserGetByUID").inChild();
    }
    expectLine("ORVAUserGetByUID failed, uid=4011", LIB).inChild();
    Json::Value jTask = taskOfAnna();
    launchAndWait(jTask);
    EXPECT_THAT(fakes().childCalls(), testing::Contains(testing::StartsWith("KLIBCExec(/usr/orva/bin/orvakbvnotify")));
    fakes().clearFaults();
    expectLine(GIVEN_UP + "0, target euid=4011", LIB).inChild();
    expectDirectLine("Failed to change user [0] != [4011]", LIB).inChild();
    EXPECT_THAT(fakes().events(), testing::ElementsAre("ORVALogSet1(1, 3, 0x14400200, a, , , )"));
    EXPECT_THAT(fakes().childCalls(), testing::Not(testing::Contains(testing::StartsWith("system("))));
    EXPECT_THAT(fakes().childCalls(), testing::Not(testing::Contains(testing::StartsWith("seteuid("))));
    EXPECT_TRUE(takeExitInfo(jTask).isNull());
    takeTemporaryFiles();
    verifyLog();
    fakes().forgetCalls();
  }
}

TEST_F(Identity, TheFirstFailingStepEndsTheSwitch) {
  const struct {
    const char* szCall;
    const char* szCheck;
    size_t cSteps;  // that were tried, including the failing one
  } rows[] = {
      {"seteuid(0", "0 > seteuid(UID_ROOT)", 1},
      {"setgid(4015", "0 > setgid(pUser->pw_gid)", 2},
      {"initgroups", "0 > initgroups(pUser->szName, pUser->pw_gid)", 3},
      {"setuid(4011", "0 > setuid(pUser->pw_uid)", 4},
  };
  for (const auto& row : rows) {
    fakes().fail(row.szCall).inChild().withErrno(EPERM);
    Json::Value jTask = taskOfAnna();
    expectFailure(row.szCheck, LIB).inChild().withErrno(EPERM);
    launchAndWait(jTask);
    const auto calls = switchCalls();
    EXPECT_EQ(calls.size(), row.cSteps + 2) << "with the lookup before and the release after it";
    EXPECT_EQ(calls.back(), "ORVAUserFree(anna)");
    takeTemporaryFiles();
    forgetLog();
    fakes().clearFaults();
    fakes().forgetCalls();
    fakes().fail(row.szCall).inChild().withErrno(EPERM);
    expectFailure(row.szCheck, LIB).inChild().withErrno(EPERM);
    expectGivenUp();
  }
}

TEST_F(Identity, ASwitchThatOnlyLooksDoneRunsNothing) {
  fakes().answer("setuid(4011", 0).inChild();
  expectFailure("getuid() != pUser->pw_uid || geteuid() != pUser->pw_uid", LIB).inChild();
  expectGivenUp();
  fakes().answer("setgid(4015", 0).inChild();
  expectFailure("getgid() != pUser->pw_gid || getegid() != pUser->pw_gid", LIB).inChild();
  expectGivenUp(4011);
}

TEST_F(Identity, ASwitchThatCanBeUndoneRunsNothing) {
  fakes().answer("setuid(0", 0).inChild();
  expectFailure("-1 != setuid(uidBefore) || -1 != seteuid(uidBefore)", LIB).inChild();
  expectGivenUp(4011);
  fakes().answer("seteuid(0", 0).nth(2).inChild();
  expectFailure("-1 != setuid(uidBefore) || -1 != seteuid(uidBefore)", LIB).inChild();
  expectGivenUp(4011);
  fakes().answer("setgid(0", 0).inChild();
  expectFailure("gidBefore != pUser->pw_gid && (-1 != setgid(gidBefore) || -1 != setegid(gidBefore))", LIB).inChild();
  expectGivenUp(4011);
}

TEST_F(Identity, AnEnvironmentThatCannotBeSetRunsNothing) {
  for (const char* szCheck : {"0 != setenv(\"HOME\", pUser->szHome, 1)", "0 != setenv(\"USER\", pUser->szName, 1)",
                              "0 != setenv(\"LOGNAME\", pUser->szName, 1)"}) {
    const std::string strCheck = szCheck;
    fakes().fail("setenv(" + strCheck.substr(13, strCheck.find('"', 13) - 13)).inChild().withErrno(ENOMEM);
    expectFailure(strCheck, LIB).inChild().withErrno(ENOMEM);
    expectGivenUp(4011);
  }
}

TEST_F(Identity, ACallerOtherThanRootMayBecomeRootForRootsTask) {
  fakes().answer("getuid", 4011).inChild();
  Json::Value jTask = scriptTask("a", "id -u\n");
  launchAndWait(jTask);
  EXPECT_EQ(readFile(jTask["strOutputPath_tmp"].asString()), "0\n");
  EXPECT_THAT(switchCalls(), testing::Contains("setuid(0)"));
  takeTemporaryFiles();
}

TEST_F(Identity, ARunWithoutIdentityIsClosedWithoutAnOutcome) {
  Json::Value jTask = scriptTask("a");
  jTask["owner"] = 3999;
  EXPECT_EQ(runOne(store(jTask)), 0);
  expectLine("ORVAUserGetByUID failed, uid=3999", LIB).inChild();
  expectLine(GIVEN_UP + "0, target euid=3999", LIB).inChild();
  expectDirectLine("Failed to change user [0] != [3999]", LIB).inChild();
  expectLine("load exit code failed, path=/tmp/eorvascheduler_exit_code." + run(1)["pid"].asString(), LIB);
  EXPECT_EQ(run(1)["exit_info"], Json::Value(Json::objectValue));
  EXPECT_TRUE(run(1).isMember("stop_time"));
  EXPECT_EQ(task("a")["status"], json("{'running': []}"));
  takeTemporaryFiles();
}
