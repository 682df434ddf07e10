// forkRunCmd in the parent: checks before the launch, and the location of files. The children are simulated.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

const std::string NOT_STARTED = "ORVALogSet1(1, 3, 0x14400201, a, , , )";

class Launcher : public RunsTest {
protected:
  Launcher() { fakes().pretendChildren(); }

  static void expectNoFork() { EXPECT_THAT(fakes().systemCalls(), testing::Not(testing::Contains("fork()"))); }
};

}  // namespace

TEST_F(Launcher, ChecksItsArgumentsInTheirOrder) {
  Json::Value jObject(Json::objectValue);
  Json::Value jWrong(Json::arrayValue);
  expectFailure("jTask.type() != Json::objectValue", LIB);
  EXPECT_EQ(forkRunCmd(jWrong, jWrong, jWrong), -1);
  expectFailure("jConfig.type() != Json::objectValue", LIB);
  EXPECT_EQ(forkRunCmd(jObject, jWrong, jWrong), -1);
  expectFailure("jResult.type() != Json::objectValue", LIB);
  EXPECT_EQ(forkRunCmd(jObject, jObject, jWrong), -1);
  EXPECT_EQ(jObject, Json::Value(Json::objectValue));
}

TEST_F(Launcher, FailsOnATaskWithoutItsMembersInTheirOrder) {
  const struct {
    const char* szMember;
    const char* szValue;  // null: the member is missing
    const char* szCheck;
  } rows[] = {
      {"operation_type", nullptr, "!jTask.isMember(\"operation_type\")"},
      {"operation_type", "5", "!jTask[\"operation_type\"].isString()"},
      {"operation_type", "null", "!jTask[\"operation_type\"].isString()"},
      {"task_name", nullptr, "!jTask.isMember(\"task_name\")"},
      {"task_name", "['a']", "!jTask[\"task_name\"].isString()"},
      {"operation", nullptr, "!jTask.isMember(\"operation\")"},
      {"operation", "null", "!jTask[\"operation\"].isString()"},
      {"owner", nullptr, "!jTask.isMember(\"owner\")"},
  };
  Json::Value jTask = scriptTask("a");
  for (const auto& row : rows) {
    Json::Value jBroken = jTask;
    jBroken.removeMember(row.szMember);
    if (row.szValue) {
      jBroken[row.szMember] = json(row.szValue);
    }
    expectFailure(row.szCheck, LIB);
    EXPECT_EQ(launch(jBroken), -1) << row.szCheck;
  }
  expectFailure(rows[0].szCheck, LIB);
  Json::Value jEmpty(Json::objectValue);
  EXPECT_EQ(launch(jEmpty), -1);
  expectNoFork();
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(Launcher, ChecksOneMemberAfterTheOther) {
  const std::pair<const char*, const char*> steps[] = {{"operation_type", "!jTask.isMember(\"operation_type\")"},
                                                       {"operation_type", "!jTask[\"operation_type\"].isString()"},
                                                       {"task_name", "!jTask.isMember(\"task_name\")"},
                                                       {"task_name", "!jTask[\"task_name\"].isString()"},
                                                       {"operation", "!jTask.isMember(\"operation\")"},
                                                       {"operation", "!jTask[\"operation\"].isString()"},
                                                       {"owner", "!jTask.isMember(\"owner\")"},
                                                       {"owner", "!jTask[\"owner\"].isUInt()"}};
  // All later steps would fail, too.
  const Json::Value jWhole = scriptTask("a");
  Json::Value jTask(Json::objectValue);
  Json::Value jConfig(Json::objectValue);
  Json::Value jResult = json("{'start_time': 'never'}");
  for (const auto& [szMember, szCheck] : steps) {
    expectFailure(szCheck, LIB);
    EXPECT_EQ(forkRunCmd(jTask, jConfig, jResult), -1) << szCheck;
    const bool blRepaired = jTask.isMember(szMember);
    jTask[szMember] = blRepaired ? jWhole[szMember] : Json::Value(Json::arrayValue);
  }
  expectFailure("!jResult[\"start_time\"].isInt64()", LIB);
  EXPECT_EQ(forkRunCmd(jTask, jConfig, jResult), -1);
  expectNoFork();
}

TEST_F(Launcher, NamesTheTaskBeforeItChecksTheOwner) {
  blDebugOutput = true;
  Json::Value jTask = scriptTask("a", "echo\n");
  jTask.removeMember("owner");
  expectDebug("task=a, strOp=echo\n", LIB);
  expectFailure("!jTask.isMember(\"owner\")", LIB);
  EXPECT_EQ(launch(jTask), -1);
}

TEST_F(Launcher, RunsNothingButScripts) {
  for (const std::string strType : {"", "Script", "mail", "script "}) {
    Json::Value jTask = scriptTask("a");
    jTask["operation_type"] = strType;
    jTask.removeMember("operation");
    fakes().forgetCalls();
    expectDirectLine("OpType is not script [" + strType + "]", LIB);
    EXPECT_EQ(launch(jTask), -1);
    EXPECT_THAT(fakes().calls(), testing::ElementsAre(NOT_STARTED));
  }
  expectNoFork();
}

TEST_F(Launcher, RefusesAnOwnerThatIsNoUserId) {
  for (const char* szOwner : {"null", "false", "true", "0.0", "0.7", "4001.0", "'abc'", "''", "'0'", "'4294967296'",
                              "[]", "[0]", "{}", "-1", "-4294967296", "4294967295", "4294967296", "1e3"}) {
    Json::Value jTask = scriptTask("a");
    jTask["owner"] = json(szOwner);
    expectFailure("!jTask[\"owner\"].isUInt()", LIB);
    EXPECT_EQ(launch(jTask), -1) << szOwner;
  }
  expectNoFork();
}

TEST_F(Launcher, RefusesAStartTimeThatIsNoNumber) {
  for (const char* szStart : {"'1'", "[]", "{}"}) {
    Json::Value jTask = scriptTask("a");
    Json::Value jConfig(Json::objectValue);
    Json::Value jResult;
    jResult["start_time"] = json(szStart);
    expectFailure("!jResult[\"start_time\"].isInt64()", LIB);
    EXPECT_EQ(forkRunCmd(jTask, jConfig, jResult), -1);
  }
  expectNoFork();
}

TEST_F(Launcher, NamesTheTaskInADebugLine) {
  blDebugOutput = true;
  Json::Value jTask = scriptTask("a", "echo 1\necho 2\n");
  expectDebug("task=a, strOp=echo 1\necho 2\n", LIB);
  expectDebug("strOutPath=" + fakes().strTmpFolder + "/eorvascheduler.output", LIB);
  EXPECT_GT(launch(jTask), 0);
}

TEST_F(Launcher, WithAnOutputFolderRemembersOnlyTheExitCodeFile) {
  Json::Value jTask = scriptTask("a");
  const pid_t pid = launch(jTask, configWithOutput());
  EXPECT_EQ(jTask["strExitCode_tmp"].asString(), "/tmp/eorvascheduler_exit_code." + std::to_string(pid));
  EXPECT_FALSE(jTask.isMember("strScriptName_tmp"));
  EXPECT_FALSE(jTask.isMember("strOutputPath_tmp"));
  EXPECT_TRUE(fileExists(runFolder("a")));
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains(testing::StartsWith("VolumeAvailGet("))));
}

TEST_F(Launcher, WithoutAnOutputFolderRemembersTheTemporaryFiles) {
  Json::Value jTask = scriptTask("a");
  const pid_t pid = launch(jTask);
  EXPECT_EQ(jTask["strExitCode_tmp"].asString(), "/tmp/eorvascheduler_exit_code." + std::to_string(pid));
  EXPECT_EQ(jTask["strScriptName_tmp"].asString(), scriptOfThisProcess());
  EXPECT_EQ(jTask["strOutputPath_tmp"].asString(),
            fakes().strTmpFolder + "/eorvascheduler.output." + std::to_string(pid));
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("VolumeAvailGet(0x500000, 0, 0)", "ORVAShareTmpPathGet(volume1, 4095)"));
}

TEST_F(Launcher, WithoutAVolumeRunsWithoutOutputAndTellsTheAdministrators) {
  for (const bool blFails : {false, true}) {
    fakes().strVolume = "";
    if (blFails) {
      fakes().fail("VolumeAvailGet");
    }
    fakes().forgetCalls();
    Json::Value jTask = scriptTask("a");
    expectLine("no available volume > 5MB exist, cannot record output", LIB);
    EXPECT_GT(launch(jTask), 0);
    EXPECT_EQ(jTask["strScriptName_tmp"].asString(), scriptOfThisProcess());
    EXPECT_FALSE(jTask.isMember("strOutputPath_tmp"));
    EXPECT_THAT(fakes().calls(), testing::ElementsAre("VolumeAvailGet(0x500000, 0, 0)",
                                                      "KLIBCExec(/usr/orva/bin/orvakbvnotify, @administrators, "
                                                      "taskscheduler_notify_user_share_volume_error, NULL, NULL)"));
  }
}

TEST_F(Launcher, AFailedNotificationDoesNotKeepTheScriptFromRunning) {
  fakes().strVolume = "";
  fakes().fail("KLIBCExec");
  expectLine("no available volume > 5MB exist, cannot record output", LIB);
  expectFailure(
      "0 != KLIBCExec(SZCMD_DAR_ORVAKBVNOTIFY, \"@administrators\", "
      "\"taskscheduler_notify_user_share_volume_error\", NULL, NULL)",
      UTIL);
  Json::Value jTask = scriptTask("a");
  EXPECT_GT(launch(jTask), 0);
}

TEST_F(Launcher, FailsWithoutATemporaryFolder) {
  fakes().fail("ORVAShareTmpPathGet");
  expectDirectLine("Fail to get share temp path from [volume1]", LIB);
  Json::Value jTask = scriptTask("a");
  EXPECT_EQ(launch(jTask), -1);
  EXPECT_THAT(fakes().events(), testing::ElementsAre(NOT_STARTED));
  expectNoFork();
}

TEST_F(Launcher, FailsWhenTheShareIsNotAccessible) {
  fakes().shares.clear();
  fakes().iLastError = 0x0900;
  fakes().strLastErrorFile = "share.c";
  fakes().iLastErrorLine = 12;
  expectDirectLine("Share folder is not accessible. share path = [logs][0x0900 share.c:12]", LIB);
  expectDirectLine("Share folder is not accessible", LIB);
  Json::Value jTask = scriptTask("a");
  EXPECT_EQ(launch(jTask, configWithOutput()), -1);
  EXPECT_THAT(fakes().events(), testing::ElementsAre("ORVALogSet1(1, 3, 0x14400101, , , , )"));
  expectNoFork();
}

TEST_F(Launcher, FailsWithoutAnEventWhenTheOutputPathCannotBeHad) {
  fakes().fail("ORVAFSMkdirP");
  expectFailure("0 > ORVAFSMkdirP(strOutBase.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0777)", LIB);
  expectDirectLine("Failed to get output path", LIB);
  Json::Value jTask = scriptTask("a");
  EXPECT_EQ(launch(jTask, configWithOutput()), -1);
  EXPECT_THAT(fakes().events(), testing::IsEmpty());
  expectNoFork();
}

TEST_F(Launcher, DirectLinesGoToSyslogThoughTheOthersGoToStandardOutput) {
  blLogToStdout = true;
  Json::Value jTask = scriptTask("a");
  jTask["operation_type"] = "mail";
  expectDirectLine("OpType is not script [mail]", LIB);
  EXPECT_EQ(launch(jTask), -1);
  ASSERT_EQ(logLines().size(), 1U);
  EXPECT_FALSE(logLines().at(0).blStdout);
}

TEST_F(Launcher, FailsWithoutAnEventWhenItCannotFork) {
  fakes().fail("fork").withErrno(EAGAIN);
  expectFailure("0 > pid", LIB).withErrno(EAGAIN);
  Json::Value jTask = scriptTask("a");
  EXPECT_EQ(launch(jTask), -1);
  EXPECT_EQ(jTask, scriptTask("a"));
  EXPECT_THAT(fakes().events(), testing::IsEmpty());
}

TEST_F(Launcher, WritesNoFileInTheParent) {
  Json::Value jTask = scriptTask("a");
  EXPECT_GT(launch(jTask), 0);
  EXPECT_THAT(takeTemporaryFiles(), testing::IsEmpty());
}
