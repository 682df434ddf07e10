// getOutputPath: the location of a run's script and output.

#include "output/location.h"

#include <filesystem>
#include <unistd.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string UNTOUCHED = "untouched";
const std::string MAKE_FOLDER = "0 > ORVAFSMkdirP(strOutBase.c_str(), NULL, TRUE, UID_ERR, GID_ERR, 0777)";

std::string temporaryScript() {
  return "/tmp/eorvascheduler.script." + std::to_string(::getpid());
}

std::string folderOf(const std::string& strShare) {
  return fakes().shares.at(strShare);
}

class GetOutputPath : public EorvaTest {
protected:
  int locate(const std::string& strConfig, const std::string& strTaskName = "backup", long iStartTime = 1700000000) {
    Json::Value jConfig = json(strConfig);
    const int iResult = getOutputPath(jConfig, strTaskName, iStartTime, &m_strOut, &m_strScript);
    EXPECT_EQ(jConfig, json(strConfig));
    return iResult;
  }

  void expectNothingWritten() const {
    EXPECT_EQ(m_strOut, UNTOUCHED);
    EXPECT_EQ(m_strScript, UNTOUCHED);
  }

  std::string m_strOut = UNTOUCHED;
  std::string m_strScript = UNTOUCHED;
};

}  // namespace

TEST_F(GetOutputPath, WithoutAnOutputPathNamesTheTemporaryScriptOfThisProcess) {
  blDebugOutput = true;
  expectDebug("not set output path", LIB);
  expectDebug("script path=" + temporaryScript(), LIB);
  EXPECT_EQ(locate("{}"), OUTPUT_NO_FOLDER);
  EXPECT_EQ(m_strScript, temporaryScript());
  EXPECT_EQ(m_strOut, UNTOUCHED);
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(GetOutputPath, SwitchedOffDoesNotEvenLookAtTheShare) {
  blDebugOutput = true;
  expectDebug("not enable output", LIB);
  expectDebug("script path=" + temporaryScript(), LIB);
  EXPECT_EQ(locate("{'output_path': 'logs', 'enable_output': false}"), OUTPUT_NO_FOLDER);
  EXPECT_EQ(m_strScript, temporaryScript());
  EXPECT_EQ(m_strOut, UNTOUCHED);
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(GetOutputPath, SwitchedOffDoesNotLookAtTheTypeOfTheOutputPath) {
  EXPECT_EQ(locate("{'output_path': 7, 'enable_output': false}"), OUTPUT_NO_FOLDER);
}

TEST_F(GetOutputPath, ReadsNullAndZeroAsSwitchedOff) {
  for (const char* szOff : {"null", "0"}) {
    EXPECT_EQ(locate(std::string("{'output_path': 'logs', 'enable_output': ") + szOff + "}"), OUTPUT_NO_FOLDER);
  }
}

TEST_F(GetOutputPath, IsOnUnlessSwitchedOff) {
  for (const char* szConfig : {"{'output_path': 'logs'}", "{'output_path': 'logs', 'enable_output': true}"}) {
    EXPECT_EQ(locate(szConfig), OUTPUT_FOLDER_READY) << szConfig;
    EXPECT_EQ(m_strOut, folderOf("logs") + "/backup/1700000000/output.log");
    EXPECT_EQ(m_strScript, folderOf("logs") + "/backup/1700000000/script.log");
  }
}

TEST_F(GetOutputPath, LaysOutARunBelowTheOutputPath) {
  fakes().shares["logs"] = "/srv/logs";
  fakes().answer("ORVAFSMkdirP", 0);
  blDebugOutput = true;
  expectDebug("output path=/srv/logs/sched/backup/1700000000/output.log", LIB);
  expectDebug("script path=/srv/logs/sched/backup/1700000000/script.log", LIB);
  EXPECT_EQ(locate("{'output_path': 'logs/sched'}"), OUTPUT_FOLDER_READY);
  EXPECT_EQ(m_strOut, "/srv/logs/sched/backup/1700000000/output.log");
  EXPECT_EQ(m_strScript, "/srv/logs/sched/backup/1700000000/script.log");
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("KLIBShareIsAccessible(logs)", "ORVASharePathGet(logs, 4096)",
                                   "ORVAFSMkdirP(/srv/logs/sched/backup/1700000000/, NULL, 1, -1, -1, 0777)"));
}

TEST_F(GetOutputPath, CreatesTheFolderAndItsParentsForEverybody) {
  EXPECT_EQ(locate("{'output_path': 'logs/a/b'}", "backup", 5), OUTPUT_FOLDER_READY);
  for (const char* szFolder : {"/a", "/a/b", "/a/b/backup", "/a/b/backup/5"}) {
    EXPECT_EQ(fileMode(folderOf("logs") + szFolder), 0777U) << szFolder;
  }
}

TEST_F(GetOutputPath, UsesTheFolderAgainInASecondCall) {
  EXPECT_EQ(locate("{'output_path': 'logs'}"), OUTPUT_FOLDER_READY);
  writeFile(m_strOut, "kept");
  EXPECT_EQ(locate("{'output_path': 'logs'}"), OUTPUT_FOLDER_READY);
  EXPECT_EQ(readFile(m_strOut), "kept");
}

TEST_F(GetOutputPath, KeepsTheSlashAtTheEndOfTheOutputPath) {
  EXPECT_EQ(locate("{'output_path': 'logs/a/'}", "t", 5), OUTPUT_FOLDER_READY);
  EXPECT_EQ(m_strOut, folderOf("logs") + "/a//t/5/output.log");
}

TEST_F(GetOutputPath, UsesTheTaskNameAsItStands) {
  for (const std::string strTaskName : {"a b", "a/b", "$(x)'\"", "..", "\303\244"}) {
    EXPECT_EQ(locate("{'output_path': 'logs/x'}", strTaskName, 5), OUTPUT_FOLDER_READY);
    EXPECT_EQ(m_strOut, folderOf("logs") + "/x/" + strTaskName + "/5/output.log");
  }
}

TEST_F(GetOutputPath, WritesTheStartTimeAsASigned32BitNumber) {
  const std::vector<std::pair<long, std::string>> times = {
      {0, "0"}, {1, "1"}, {2147483647, "2147483647"}, {2147483648, "-2147483648"}, {4294967301, "5"}, {-7, "-7"}};
  for (const auto& [iStartTime, strFolder] : times) {
    EXPECT_EQ(locate("{'output_path': 'logs'}", "t", iStartTime), OUTPUT_FOLDER_READY);
    EXPECT_EQ(m_strScript, folderOf("logs") + "/t/" + strFolder + "/script.log");
  }
}

TEST_F(GetOutputPath, WorksWithoutAScriptPointer) {
  blDebugOutput = true;
  Json::Value jConfig = json("{'output_path': 'logs'}");
  expectDebug("output path=" + folderOf("logs") + "/t/1/output.log", LIB);
  EXPECT_EQ(getOutputPath(jConfig, "t", 1, &m_strOut, nullptr), OUTPUT_FOLDER_READY);
  EXPECT_EQ(m_strOut, folderOf("logs") + "/t/1/output.log");
  jConfig = json("{}");
  m_strOut = UNTOUCHED;
  expectDebug("not set output path", LIB);
  EXPECT_EQ(getOutputPath(jConfig, "t", 1, &m_strOut, nullptr), OUTPUT_NO_FOLDER);
  EXPECT_EQ(m_strOut, UNTOUCHED);
  for (const LogLine& line : logLines()) {
    EXPECT_EQ(line.strText.find("script path="), std::string::npos);
  }
}

TEST_F(GetOutputPath, FailsOnAConfigurationThatIsNoObject) {
  for (const char* szConfig : {"null", "[]", "['output_path']", "'logs'", "1", "true"}) {
    expectFailure("jConfig.type() != Json::objectValue", LIB);
    EXPECT_EQ(locate(szConfig), -1) << szConfig;
  }
  expectNothingWritten();
}

TEST_F(GetOutputPath, FailsOnAnEmptyTaskNameEvenWhenSwitchedOff) {
  for (const char* szConfig :
       {"{}", "{'output_path': 'logs', 'enable_output': false}", "{'output_path': 'logs'}", "{'output_path': 7}"}) {
    expectFailure("strTaskName.empty()", LIB);
    EXPECT_EQ(locate(szConfig, ""), -1) << szConfig;
  }
  expectNothingWritten();
}

TEST_F(GetOutputPath, ChecksTheConfigurationBeforeTheTaskName) {
  expectFailure("jConfig.type() != Json::objectValue", LIB);
  EXPECT_EQ(locate("[]", ""), -1);
}

TEST_F(GetOutputPath, FailsOnAnOutputPathThatIsNoString) {
  for (const char* szPath : {"1", "null", "true", "['logs']", "{}"}) {
    expectFailure("!jConfig[\"output_path\"].isString()", LIB);
    EXPECT_EQ(locate(std::string("{'output_path': ") + szPath + "}"), -1) << szPath;
  }
  expectNothingWritten();
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(GetOutputPath, FailsOnASwitchThatCannotBeReadAsBoolean) {
  for (const char* szSwitch : {"'false'", "[]", "[false]", "{'on': true}"}) {
    expectFailure("!jConfig[\"enable_output\"].isBool()", LIB);
    EXPECT_EQ(locate(std::string("{'output_path': 'logs', 'enable_output': ") + szSwitch + "}"), -1) << szSwitch;
  }
  expectNothingWritten();
}

TEST_F(GetOutputPath, RefusesAShareThatIsNotAccessible) {
  fakes().iLastError = 0x1400;
  fakes().strLastErrorFile = "volume.c";
  fakes().iLastErrorLine = 42;
  expectDirectLine("Share folder is not accessible. share path = [gone/sched][0x1400 volume.c:42]", LIB);
  EXPECT_EQ(locate("{'output_path': 'gone/sched'}"), OUTPUT_SHARE_NOT_ACCESSIBLE);
  expectNothingWritten();
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("KLIBShareIsAccessible(gone)"));
}

TEST_F(GetOutputPath, WritesTheErrorCodeWithFourDigitsAtLeast) {
  fakes().iLastError = 0x2;
  expectDirectLine("Share folder is not accessible. share path = [gone][0x0002 :0]", LIB);
  EXPECT_EQ(locate("{'output_path': 'gone'}"), OUTPUT_SHARE_NOT_ACCESSIBLE);
}

TEST_F(GetOutputPath, SaysInTheSystemLogThatAShareIsNotAccessibleWhateverTheFlag) {
  blLogToStdout = true;
  expectDirectLine("Share folder is not accessible. share path = [gone][0x0000 :0]", LIB);
  EXPECT_EQ(locate("{'output_path': 'gone'}"), OUTPUT_SHARE_NOT_ACCESSIBLE);
  EXPECT_FALSE(logLines().at(0).blStdout);
}

TEST_F(GetOutputPath, AnEmptyOutputPathNamesNoShare) {
  expectDirectLine("Share folder is not accessible. share path = [][0x0000 :0]", LIB);
  EXPECT_EQ(locate("{'output_path': ''}"), OUTPUT_SHARE_NOT_ACCESSIBLE);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("KLIBShareIsAccessible()"));
}

TEST_F(GetOutputPath, FailsWhenAnEmptyOutputPathCannotBeTranslated) {
  fakes().answer("KLIBShareIsAccessible", 1);
  expectFailure("strShare.empty()", UTIL);
  expectFailure("0 > sharePath2VolumePath(strSharePathBase, strOutBase)", LIB);
  EXPECT_EQ(locate("{'output_path': ''}"), -1);
  expectNothingWritten();
}

TEST_F(GetOutputPath, FailsWhenTheShareHasNoPath) {
  fakes().fail("ORVASharePathGet");
  expectLine("ORVASharePathGet failed, share=logs", UTIL);
  expectFailure("0 > sharePath2VolumePath(strSharePathBase, strOutBase)", LIB);
  EXPECT_EQ(locate("{'output_path': 'logs/sched'}"), -1);
  expectNothingWritten();
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains(testing::StartsWith("ORVAFSMkdirP"))));
}

TEST_F(GetOutputPath, FailsWhenTheFolderCannotBeCreated) {
  fakes().fail("ORVAFSMkdirP").withErrno(EROFS);
  expectFailure(MAKE_FOLDER, LIB).withErrno(EROFS);
  EXPECT_EQ(locate("{'output_path': 'logs'}"), -1);
  expectNothingWritten();
}

TEST_F(GetOutputPath, FailsWhenAFileStandsInTheFoldersPlace) {
  writeFile(folderOf("logs") + "/backup", "no folder");
  expectFailure(MAKE_FOLDER, LIB);
  EXPECT_EQ(locate("{'output_path': 'logs'}"), -1);
  EXPECT_EQ(readFile(folderOf("logs") + "/backup"), "no folder");
}

TEST_F(GetOutputPath, EachFailingCallWritesNothing) {
  const int cCalls = failEachCall([this] { m_strOut = m_strScript = UNTOUCHED; },
                                  [this] {
                                    const int iResult = locate("{'output_path': 'logs'}");
                                    if (fakes().faults() == 0) {
                                      EXPECT_EQ(iResult, OUTPUT_FOLDER_READY);
                                      return;
                                    }
                                    const bool blShare = fakes().calls().size() == 1;
                                    EXPECT_EQ(iResult, blShare ? OUTPUT_SHARE_NOT_ACCESSIBLE : -1);
                                    expectNothingWritten();
                                  });
  EXPECT_EQ(cCalls, 3);
}
