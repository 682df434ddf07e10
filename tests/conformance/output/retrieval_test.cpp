// recResultGetFile: reads the output of a run and the script that ran.

#include <filesystem>
#include <unistd.h>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string CONFIG_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
const std::string REQUEST = "{'result_id': 3, 'task_name': 'backup'}";
const std::string GET_OUTPUT_PATH =
    "0 > getOutputPath(jConfig, jIn[\"task_name\"].asString(), jResult[\"start_time\"].asInt64(), &strOut, &strScript)";

class RecResultGetFile : public HandlesTest {
protected:
  RecResultGetFile() { prepare(); }

  // A run whose two files exist.
  static void prepare() {
    fakes().put("task_result", json("{'result_id': 3, 'task_name': 'backup', 'start_time': 1700000000}"));
    configure("{'output_path': 'logs/sched'}");
    writeFile(output(), "printed\n");
    writeFile(script(), "#!/bin/sh\n");
  }

  static void configure(const std::string& strSection) {
    Json::Value jConfig;
    jConfig["eorvascheduler"] = json(strSection);
    writeFile(CONFIG_PATH, compactJson(jConfig));
  }

  static std::string folder() { return fakes().shares.at("logs") + "/sched/backup/1700000000/"; }
  static std::string output() { return folder() + "output.log"; }
  static std::string script() { return folder() + "script.log"; }

  int get(const Json::Value& jRequest = json(REQUEST)) {
    Json::Value jIn = jRequest;
    const int iResult = recResultGetFile(m_pApiResult, jIn, m_jOut);
    EXPECT_EQ(jIn, jRequest);
    return iResult;
  }

  void expectUnreadable(const std::string& strPath) {
    expectFailure("!in", UTIL);
    expectLine("strFilePath=" + strPath, UTIL);
    expectFailure("load ouput failed, path=" + strPath, UTIL);
  }

  Json::Value m_jOut;
};

}  // namespace

TEST_F(RecResultGetFile, DeliversOutputAndScript) {
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json(R"({'script_out': 'printed\n', 'script_in': '#!/bin/sh\n'})"));
}

TEST_F(RecResultGetFile, LeavesOtherMembersOfTheAnswerAlone) {
  m_jOut = json("{'other': [1], 'script_out': 5}");
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json(R"({'other': [1], 'script_out': 'printed\n', 'script_in': '#!/bin/sh\n'})"));
}

TEST_F(RecResultGetFile, DeliversTheBytesAsTheyAre) {
  const std::string strBytes("a\r\nb\0c\xff\xfe\n", 10);
  const std::string strLarge(3 * 1024 * 1024, 'x');
  writeFile(output(), strBytes);
  writeFile(script(), strLarge);
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut["script_out"].asString(), strBytes);
  EXPECT_EQ(m_jOut["script_in"].asString(), strLarge);
}

TEST_F(RecResultGetFile, SaysBothPathsWhenDebugging) {
  blDebugOutput = true;
  expectDebug("strOut=" + output(), UTIL);
  expectDebug("strScript=" + script(), UTIL);
  EXPECT_EQ(get(), 0);
}

TEST_F(RecResultGetFile, FailsWithoutAStore) {
  Json::Value jIn(Json::arrayValue);
  expectFailure("!pApiResult", UTIL);
  EXPECT_EQ(recResultGetFile(nullptr, jIn, m_jOut), -1);
}

TEST_F(RecResultGetFile, ChecksTheRequestBeforeItReadsAnything) {
  const std::vector<std::pair<std::string, std::string>> requests = {
      {"null", "jIn.type() != Json::objectValue"},
      {"[]", "jIn.type() != Json::objectValue"},
      {"'backup'", "jIn.type() != Json::objectValue"},
      {"3", "jIn.type() != Json::objectValue"},
      {"{}", "!jIn.isMember(\"result_id\")"},
      {"{'task_name': 'backup'}", "!jIn.isMember(\"result_id\")"},
      {"{'result_id': 3}", "!jIn.isMember(\"task_name\")"},
      {"{'result_id': 3, 'task_name': 7}", "!jIn[\"task_name\"].isString()"},
      {"{'result_id': 3, 'task_name': null}", "!jIn[\"task_name\"].isString()"},
      {"{'result_id': 3, 'task_name': ['backup']}", "!jIn[\"task_name\"].isString()"}};
  for (const auto& [strRequest, strCheck] : requests) {
    expectFailure(strCheck, UTIL);
    EXPECT_EQ(get(json(strRequest)), -1) << strRequest;
  }
  EXPECT_TRUE(m_jOut.isNull());
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(RecResultGetFile, TheWholeRequestIsTheFilter) {
  EXPECT_EQ(get(json("{'result_id': 3, 'task_name': 'backup', 'start_time': 1700000000}")), 0);
  EXPECT_EQ(fakes().calls().at(0),
            "recGetOne(task_result, {\"result_id\":3,\"start_time\":1700000000,\"task_name\":\"backup\"})");
  EXPECT_EQ(m_jOut["script_out"], "printed\n");
}

TEST_F(RecResultGetFile, FailsWhenTheStoreFails) {
  fakes().fail("recGetOne(task_result,");
  expectFailure("0 > pApiResult->recGetOne(jIn, jResult)", UTIL);
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, ARunThatIsNotFoundIsNoFailure) {
  m_jOut = json("{'other': 1}");
  for (const char* szRequest :
       {"{'result_id': 4, 'task_name': 'backup'}", "{'result_id': 3, 'task_name': 'Backup'}",
        "{'result_id': 3, 'task_name': ''}", "{'result_id': 3, 'task_name': 'backup', 'start_time': 1}"}) {
    expectFailure("no result record found!", UTIL);
    EXPECT_EQ(get(json(szRequest)), 0) << szRequest;
  }
  EXPECT_EQ(m_jOut, json("{'other': 1}"));
}

TEST_F(RecResultGetFile, AnEmptyRecordCountsAsNotFound) {
  for (const char* szRecord : {"{}", "[]", "null"}) {
    fakes().answer("recGetOne", 0, json(szRecord));
    expectFailure("no result record found!", UTIL);
    EXPECT_EQ(get(), 0) << szRecord;
  }
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, WithoutAConfigurationBothTextsAreEmpty) {
  std::filesystem::remove(CONFIG_PATH);
  m_jOut = json("{'other': 1}");
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json("{'other': 1, 'script_out': '', 'script_in': ''}"));
}

TEST_F(RecResultGetFile, WithoutTheSchedulersSectionBothTextsAreEmpty) {
  writeFile(CONFIG_PATH, "{\"other\": {\"output_path\": \"logs/sched\"}}");
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json("{'script_out': '', 'script_in': ''}"));
}

TEST_F(RecResultGetFile, FailsOnADamagedConfiguration) {
  writeFile(CONFIG_PATH, "{");
  expectFailure("!jConfig.fromFile(EORVA_SCHEDULER_CONFIG_PATH)", UTIL);
  expectFailure("0 > (err = configGet(jFilter, jConfig))", UTIL);
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, FailsOnASectionWithoutAUsableOutputPath) {
  const std::vector<std::pair<std::string, std::string>> sections = {
      {"{}", "!jConfig.isMember(\"output_path\")"},
      {"{'enable_output': false}", "!jConfig.isMember(\"output_path\")"},
      {"[]", "!jConfig.isMember(\"output_path\")"},
      {"'logs'", "!jConfig.isMember(\"output_path\")"},
      {"{'output_path': 5}", "!jConfig[\"output_path\"].isString()"},
      {"{'output_path': null}", "!jConfig[\"output_path\"].isString()"},
      {"{'output_path': ['logs']}", "!jConfig[\"output_path\"].isString()"},
      {"{'output_path': ''}", "strOutputPath.empty()"},
      {"{'output_path': '', 'enable_output': false}", "strOutputPath.empty()"}};
  for (const auto& [strSection, strCheck] : sections) {
    configure(strSection);
    expectFailure(strCheck, UTIL);
    EXPECT_EQ(get(), -1) << strSection;
  }
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, FailsOnARunWithoutAStartTime) {
  fakes().put("task_result", json("{'result_id': 3, 'task_name': 'backup'}"));
  expectFailure("!jResult.isMember(\"start_time\")", UTIL);
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, FailsOnAStartTimeThatIsNoNumber) {
  for (const char* szTime : {"'2026-01-01'", "[]", "{}", "1e300"}) {
    fakes().put("task_result",
                json(std::string("{'result_id': 3, 'task_name': 'backup', 'start_time': ") + szTime + "}"));
    expectFailure("!jResult[\"start_time\"].isInt64()", UTIL);
    EXPECT_EQ(get(), -1) << szTime;
  }
}

TEST_F(RecResultGetFile, FailsWhenTheShareIsNotAccessible) {
  fakes().fail("KLIBShareIsAccessible");
  expectDirectLine("Share folder is not accessible. share path = [logs/sched][0x0000 :0]", LIB);
  expectFailure(GET_OUTPUT_PATH, UTIL);
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, FailsOnAnEmptyTaskName) {
  fakes().put("task_result", json("{'result_id': 3, 'task_name': '', 'start_time': 1}"));
  expectFailure("strTaskName.empty()", LIB);
  expectFailure(GET_OUTPUT_PATH, UTIL);
  EXPECT_EQ(get(json("{'result_id': 3, 'task_name': ''}")), -1);
}

TEST_F(RecResultGetFile, AFileThatIsGoneIsAnEmptyText) {
  std::filesystem::remove(output());
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json(R"({'script_out': '', 'script_in': '#!/bin/sh\n'})"));
  std::filesystem::remove(script());
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json("{'script_out': '', 'script_in': ''}"));
}

TEST_F(RecResultGetFile, AnEmptyFileIsAnEmptyText) {
  writeFile(output(), "");
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut["script_out"], "");
}

TEST_F(RecResultGetFile, SwitchedOffBothTextsAreEmpty) {
  configure("{'output_path': 'logs/sched', 'enable_output': false}");
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json("{'script_out': '', 'script_in': ''}"));
}

TEST_F(RecResultGetFile, SwitchedOffReadsTheTemporaryScriptOfThisProcess) {
  configure("{'output_path': 'logs/sched', 'enable_output': false}");
  writeFile("/tmp/eorvascheduler.script." + std::to_string(::getpid()), "temporary");
  EXPECT_EQ(get(), 0);
  EXPECT_EQ(m_jOut, json("{'script_out': '', 'script_in': 'temporary'}"));
  EXPECT_EQ(takeTemporaryFiles().size(), 1U);
}

TEST_F(RecResultGetFile, AnOutputThatCannotBeReadIsAFailureThatDeliversNothing) {
  std::filesystem::remove(output());
  std::filesystem::create_directory(output());
  expectUnreadable(output());
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, AScriptThatCannotBeReadIsAFailureAfterTheOutput) {
  std::filesystem::remove(script());
  std::filesystem::create_directory(script());
  expectUnreadable(script());
  EXPECT_EQ(get(), -1);
  EXPECT_EQ(m_jOut, json(R"({'script_out': 'printed\n'})"));
}

TEST_F(RecResultGetFile, DoesNotFollowALinkInPlaceOfTheOutput) {
  writeFile("/etc/secret", "secret");
  std::filesystem::remove(output());
  std::filesystem::create_symlink("/etc/secret", output());
  expectUnreadable(output());
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(m_jOut.isNull());
  std::filesystem::remove("/etc/secret");
}

TEST_F(RecResultGetFile, ALinkThatLeadsNowhereCannotBeReadEither) {
  std::filesystem::remove(output());
  std::filesystem::create_symlink("/etc/nowhere", output());
  expectUnreadable(output());
  EXPECT_EQ(get(), -1);
  EXPECT_TRUE(m_jOut.isNull());
}

TEST_F(RecResultGetFile, WaitsForNobodysLease) {
  const Lease lease(output());
  expectUnreadable(output());
  EXPECT_EQ(get(), -1);
}

TEST_F(RecResultGetFile, DoesNotReadAFileThatHasAnotherNameToo) {
  std::filesystem::create_hard_link(output(), folder() + "other");
  expectUnreadable(output());
  EXPECT_EQ(get(), -1);
}

TEST_F(RecResultGetFile, FailsOnAnAnswerThatCannotHoldTheTexts) {
  for (const char* szOut : {"[]", "'x'", "1"}) {
    m_jOut = json(szOut);
    expectFailure("jOut.type() != Json::objectValue && jOut.type() != Json::nullValue", UTIL);
    EXPECT_EQ(get(), -1);
    EXPECT_EQ(m_jOut, json(szOut));
  }
}

TEST_F(RecResultGetFile, EachFailingCallFailsOrDeliversTheSame) {
  const int cCalls = failEachCall(
      [this] {
        prepare();
        m_jOut = Json::Value();
      },
      [this] {
        const int iResult = get();
        const Json::Value jWhole = json(R"({'script_out': 'printed\n', 'script_in': '#!/bin/sh\n'})");
        EXPECT_TRUE(iResult == 0 || fakes().faults() > 0);
        if (iResult == 0) {
          EXPECT_EQ(m_jOut, jWhole);
        } else {
          EXPECT_EQ(iResult, -1);
          EXPECT_TRUE(m_jOut.isNull() || m_jOut == json(R"({'script_out': 'printed\n'})"));
        }
      });
  EXPECT_GE(cCalls, 12);
}
