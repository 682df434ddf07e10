// The values of the placeholders in the mail about a run.

#include <filesystem>

#include "notification_fixture.h"

using namespace OrvaTest;

namespace {

const std::string EXIT_INFO_TYPE =
    "jResult[\"exit_info\"].type() != Json::objectValue && jResult[\"exit_info\"].type() != Json::arrayValue && "
    "jResult[\"exit_info\"].type() != Json::nullValue";

class NotificationValues : public Notification {
protected:
  // An output folder, and the output of the run in it.
  std::string writeOutput(const std::string& strText) {
    m_jConfig = json("{'output_path': 'logs'}");
    const std::string strPath = fakes().shares.at("logs") + "/backup/1767225600/output.log";
    writeFile(strPath, strText);
    return strPath;
  }

  void expectUnreadable(const std::string& strPath) {
    expectFailure("!in", UTIL);
    expectLine("strFilePath=" + strPath, UTIL);
  }
};

}  // namespace

TEST_F(NotificationValues, AreTheseFiveInThisOrder) {
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(fakes().mails.at(0).values,
              testing::ElementsAre(testing::Pair("%END_TIME%", "mail 2026-01-01 00:01:01"),
                                   testing::Pair("%EXIT_CODE%", "3 (Normal)"), testing::Pair("%OUT_PUT%", ""),
                                   testing::Pair("%START_TIME%", "mail 2026-01-01 00:00:00"),
                                   testing::Pair("%TASK%", "backup")));
  std::vector<std::string> keys;
  for (const std::string& strCall : fakes().calls()) {
    if (strCall.starts_with("KLIBCSzHashSetValue(")) {
      keys.push_back(strCall.substr(20, strCall.find(',') - 20));
    }
  }
  EXPECT_THAT(keys, testing::ElementsAre("%TASK%", "%START_TIME%", "%END_TIME%", "%EXIT_CODE%", "%OUT_PUT%"));
}

TEST_F(NotificationValues, FailWithoutATaskName) {
  m_jTask.removeMember("task_name");
  expectGivenUp("!jTask.isMember(\"task_name\")");
  for (const char* szName : {"null", "5", "[]"}) {
    m_jTask["task_name"] = json(szName);
    expectGivenUp("!jTask[\"task_name\"].isString()");
  }
}

TEST_F(NotificationValues, FailOnARunThatIsNoObject) {
  for (const char* szResult : {"null", "[]", "'x'", "1"}) {
    m_jResult = json(szResult);
    expectGivenUp("jResult.type() != Json::objectValue");
  }
}

TEST_F(NotificationValues, FailWithoutAStartTime) {
  m_jResult.removeMember("start_time");
  expectGivenUp("!jResult.isMember(\"start_time\")");
  m_jResult["start_time"] = "now";
  expectGivenUp("!jResult[\"start_time\"].isInt64()");
}

TEST_F(NotificationValues, FailOnAStartTimeThatHasNoText) {
  fakes().fail("convert2ReadableTime(1767225600, 2)");
  expectGivenUp("0 > convert2ReadableTime(iStartTime, strStartTime, ORVA_TIME_FORMAT_FOR_MAIL)");
}

TEST_F(NotificationValues, FailWithoutAStopTime) {
  m_jResult.removeMember("stop_time");
  expectGivenUp("!jResult.isMember(\"stop_time\")");
  m_jResult["stop_time"] = json("[]");
  expectGivenUp("!jResult[\"stop_time\"].isInt64()");
}

TEST_F(NotificationValues, FailOnAStopTimeThatHasNoText) {
  fakes().fail("convert2ReadableTime(1767225661, 2)");
  expectGivenUp("0 > convert2ReadableTime(iEndTime, strEndTime, ORVA_TIME_FORMAT_FOR_MAIL)");
}

TEST_F(NotificationValues, ReadTimesOf64BitsAsSigned32BitNumbers) {
  m_jResult["start_time"] = Json::Int64(4294967301);
  m_jResult["stop_time"] = Json::Int64(2147483648);
  EXPECT_EQ(notify(), 0);
  EXPECT_THAT(fakes().calls(),
              testing::IsSupersetOf({"convert2ReadableTime(5, 2)", "convert2ReadableTime(-2147483648, 2)"}));
}

TEST_F(NotificationValues, FailWithoutExitInformation) {
  m_jResult.removeMember("exit_info");
  expectGivenUp("!jResult.isMember(\"exit_info\")");
}

TEST_F(NotificationValues, FailOnExitInformationOfTheWrongType) {
  const std::vector<std::pair<std::string, std::string>> exits = {
      {"'normal'", EXIT_INFO_TYPE},
      {"5", EXIT_INFO_TYPE},
      {"true", EXIT_INFO_TYPE},
      {"[]", "jExit.type() != Json::objectValue"},
      {"null", "jExit.type() != Json::objectValue"},
      {"{}", "!jExit.isMember(\"exit_type\")"},
      {"{'exit_type': 5}", "!jExit[\"exit_type\"].isString()"},
      {"{'exit_type': 'normal', 'exit_code': []}", "!jExit[\"exit_code\"].isInt()"}};
  for (const auto& [strExitInfo, strCheck] : exits) {
    SCOPED_TRACE(strExitInfo);
    setExitInfo(strExitInfo);
    expectGivenUp(strCheck);
  }
}

TEST_F(NotificationValues, TheExitCodeIsFollowedByItsText) {
  const std::vector<std::pair<std::string, std::string>> exits = {
      {"{'exit_type': 'normal', 'exit_code': 0}", "0 (Normal)"},
      {"{'exit_type': 'normal', 'exit_code': 255}", "255 (Normal)"},
      {"{'exit_type': 'by_signal', 'exit_code': 9}", "9 (Interrupted)"},
      {"{'exit_type': 'stop', 'exit_code': 19}", "19 (Interrupted)"},
      {"{'exit_type': 'continue'}", " (Interrupted)"},
      {"{'exit_type': 'normal', 'exit_code': null}", " (Normal)"}};
  for (const auto& [strExitInfo, strText] : exits) {
    setExitInfo(strExitInfo);
    EXPECT_EQ(notify(), 0) << strExitInfo;
    EXPECT_EQ(sent("%EXIT_CODE%"), strText) << strExitInfo;
  }
}

TEST_F(NotificationValues, TheExitCodeStandsAloneWithoutAText) {
  fakes().texts.clear();
  expectFailure("jText.empty()", LIB);
  expectLine("get exit type string failed, exit type=normal", LIB);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%EXIT_CODE%"), "3");
}

TEST_F(NotificationValues, AnUnknownExitTypeCostsOnlyItsText) {
  setExitInfo("{'exit_type': 'vanished', 'exit_code': 4}");
  expectFailure("unkonow exit type=vanished", LIB);
  expectLine("get exit type string failed, exit type=vanished", LIB);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%EXIT_CODE%"), "4");
  setExitInfo("{'exit_type': ''}");
  expectFailure("strExitType.empty()", LIB);
  expectLine("get exit type string failed, exit type=", LIB);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%EXIT_CODE%"), "");
}

TEST_F(NotificationValues, WithoutAMailLanguageTheTextIsThatOfEnu) {
  fakes().texts["ger"] = json("{'schedule': {'normal': 'Normal beendet'}}");
  writeFile("/etc/orvainfo.conf", "maillang=\"ger\"\n");
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%EXIT_CODE%"), "3 (Normal beendet)");
  std::filesystem::remove("/etc/orvainfo.conf");
  expectLine("cannot get mail lang, use enu", LIB);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%EXIT_CODE%"), "3 (Normal)");
}

TEST_F(NotificationValues, TheOutputIsTheWholeFile) {
  const std::string strLarge = std::string(2 * 1024 * 1024, 'x') + "\r\nend";
  writeOutput(strLarge);
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), strLarge);
}

TEST_F(NotificationValues, AnOutputFileThatIsGoneIsEmptyText) {
  std::filesystem::remove(writeOutput(""));
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), "");
}

TEST_F(NotificationValues, FailOnAnOutputFileThatCannotBeRead) {
  const std::string strPath = writeOutput("");
  std::filesystem::remove(strPath);
  std::filesystem::create_directory(strPath);
  expectUnreadable(strPath);
  expectGivenUp("0 > loadFile(strOutPath, strContent)");
}

TEST_F(NotificationValues, FailOnAnOutputUnderALeaseWithoutWaiting) {
  const std::string strPath = writeOutput("printed\n");
  const Lease lease(strPath);
  expectUnreadable(strPath);
  expectGivenUp("0 > loadFile(strOutPath, strContent)");
}

TEST_F(NotificationValues, TheOutputIsNotReadThroughALink) {
  const std::string strPath = writeOutput("");
  std::filesystem::remove(strPath);
  std::filesystem::create_symlink("/etc/passwd", strPath);
  expectUnreadable(strPath);
  expectGivenUp("0 > loadFile(strOutPath, strContent)");
}

TEST_F(NotificationValues, FailWhenTheOutputHasNoPlace) {
  const std::string strCheck = "0 > getOutputPath(jConfig, strTaskName, iStartTime, &strOutPath, NULL)";
  m_jConfig = json("{'output_path': 5}");
  expectFailure("!jConfig[\"output_path\"].isString()", LIB);
  expectGivenUp(strCheck);
  m_jConfig = json("{'output_path': 'gone'}");
  expectDirectLine("Share folder is not accessible. share path = [gone][0x0000 :0]", LIB);
  expectGivenUp(strCheck);
  m_jConfig = json("[]");
  expectFailure("jConfig.type() != Json::objectValue", LIB);
  expectGivenUp(strCheck);
}

TEST_F(NotificationValues, WithoutAnOutputFolderTheTemporaryOutputIsRead) {
  const TempDir folder;
  writeFile(folder.path("output"), "temporary\n");
  m_jTask["strOutputPath_tmp"] = folder.path("output");
  for (const char* szConfig : {"{}", "{'output_path': 'logs', 'enable_output': false}"}) {
    m_jConfig = json(szConfig);
    EXPECT_EQ(notify(), 0);
    EXPECT_EQ(sent("%OUT_PUT%"), "temporary\n") << szConfig;
  }
}

TEST_F(NotificationValues, WithAnOutputFolderTheTemporaryOutputIsNotRead) {
  writeOutput("kept\n");
  m_jTask["strOutputPath_tmp"] = "/etc";
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), "kept\n");
}

TEST_F(NotificationValues, ATemporaryOutputThatIsGoneIsEmptyText) {
  m_jTask["strOutputPath_tmp"] = "/tmp/nothing/here";
  EXPECT_EQ(notify(), 0);
  EXPECT_EQ(sent("%OUT_PUT%"), "");
}

TEST_F(NotificationValues, FailOnATemporaryOutputThatCannotBeRead) {
  m_jTask["strOutputPath_tmp"] = "/etc";
  expectUnreadable("/etc");
  expectGivenUp("0 > loadFile(jTask[\"strOutputPath_tmp\"].asString(), strContent)");
  m_jTask["strOutputPath_tmp"] = 5;
  expectGivenUp("!jTask[\"strOutputPath_tmp\"].isString()");
}

TEST_F(NotificationValues, FailWhenOneCannotBeSet) {
  for (const char* szKey : {"%TASK%", "%START_TIME%", "%END_TIME%", "%EXIT_CODE%", "%OUT_PUT%"}) {
    fakes().fail(std::string("KLIBCSzHashSetValue(") + szKey);
    expectGivenUp("0 > KLIBCSzHashSetValue(&pHash, szKey, strValue.c_str())");
  }
}

TEST_F(NotificationValues, EachFailingCallSendsTheMailOrFails) {
  const int cCalls = failEachCall(
      [this] {
        prepare();
        writeOutput("printed\n");
      },
      [this] {
        const int iResult = notify();
        const size_t cMails = fakes().mails.size();
        if (fakes().faults() == 0) {
          EXPECT_EQ(iResult, 0);
          EXPECT_EQ(cMails, 1U);
          EXPECT_EQ(fakes().mails.at(0).values.at("%OUT_PUT%"), "printed\n");
        }
        EXPECT_TRUE(iResult == 0 || (iResult == -1 && cMails == 0));
      });
  EXPECT_GE(cCalls, 18);
}
