// The child of a run tells the host once how the run ended.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class RunEnded : public RunsTest {
protected:
  // Runs a task in a child whose calls may fail, and gives the calls to the host.
  static std::vector<std::string> endsOf(const Json::Value& jTask,
                                         const Json::Value& jConfig = Json::Value(Json::objectValue)) {
    Json::Value jRun = jTask;
    launchAndWait(jRun, jConfig);
    fakes().clearFaults();
    takeExitInfo(jRun);
    takeTemporaryFiles();
    return ends();
  }
  static std::vector<std::string> ends() {
    std::vector<std::string> found;
    for (const std::string& strCall : fakes().childCalls()) {
      if (strCall.starts_with("ORVARunEnded")) {
        found.push_back(strCall);
      }
    }
    fakes().forgetCalls();
    return found;
  }

  CapturedStdout m_stdout;
};

const std::string NOT_STARTED = "ORVARunEnded(-1)";

}  // namespace

TEST_F(RunEnded, StatusIsThatOfTheShell) {
  EXPECT_THAT(endsOf(scriptTask("a", "exit 0\n")), testing::ElementsAre("ORVARunEnded(0)"));
  EXPECT_THAT(endsOf(scriptTask("a", "exit 128\n")), testing::ElementsAre("ORVARunEnded(32768)"));
  EXPECT_THAT(endsOf(scriptTask("a", "kill -9 $$\n")), testing::ElementsAre("ORVARunEnded(35072)"));
  EXPECT_THAT(endsOf(scriptTask("a", "#!/no/such/program\n")), testing::ElementsAre("ORVARunEnded(32512)"));
}

TEST_F(RunEnded, IsToldBeforeTheOutputIsShownAndBeforeTheExitInformationIsWritten) {
  Json::Value jTask = scriptTask("a", "exit 3\n");
  launchAndWait(jTask, configWithOutput());
  std::vector<std::string> calls;
  for (const std::string& strCall : fakes().childCalls()) {
    const std::string strName = strCall.substr(0, strCall.find('('));
    if (strName == "system" || strName == "ORVARunEnded" || strName == "write") {
      calls.push_back(strName);
    }
  }
  EXPECT_THAT(calls, testing::ElementsAre("write", "system", "ORVARunEnded", "system", "write"));
  takeExitInfo(jTask);
}

TEST_F(RunEnded, TheHostCanRunTheShellItself) {
  constexpr int EXIT_5 = 5 << 8;
  fakes().answer("ORVARunShell", EXIT_5);
  Json::Value jTask = scriptTask("a", "exit 3\n");
  launchAndWait(jTask, Json::Value(Json::objectValue));
  std::vector<std::string> calls;
  for (const std::string& strCall : fakes().childCalls()) {
    if (strCall.starts_with("ORVARun") || strCall.starts_with("system")) {
      calls.push_back(strCall.substr(0, strCall.find('/')));
    }
  }
  EXPECT_THAT(calls, testing::ElementsAre("ORVARunShell('", "ORVARunEnded(1280)", "system(cat "));
  takeExitInfo(jTask);
  takeTemporaryFiles();
}

TEST_F(RunEnded, AShellThatCannotBeStartedIsNoStart) {
  ignoreLog();
  fakes().fail("system").inChild();
  EXPECT_THAT(endsOf(scriptTask("a")), testing::ElementsAre(NOT_STARTED));
}

TEST_F(RunEnded, AnOwnerWhoseIdentityCannotBeTakenIsNoStart) {
  ignoreLog();
  Json::Value jTask = scriptTask("a");
  jTask["owner"] = 65534;
  fakes().fail("setuid").inChild();
  EXPECT_THAT(endsOf(jTask), testing::ElementsAre(NOT_STARTED));
}

TEST_F(RunEnded, OutputThatIsNoFileOfTheOwnerIsNoStart) {
  ignoreLog();
  writeFile(runFolder("a") + "output.log/file", "");
  EXPECT_THAT(endsOf(scriptTask("a"), configWithOutput()), testing::ElementsAre(NOT_STARTED));
}

// The event can end the process.
TEST_F(RunEnded, AScriptThatCannotBeWrittenIsToldBeforeItsEvent) {
  for (const char* szCall : {"openat(", "fchmod("}) {
    ignoreLog();
    fakes().fail(szCall).inChild().every();
    fakes()
        .before("ORVALogSet1",
                [] {
                  EXPECT_THAT(ends(), testing::ElementsAre(NOT_STARTED));
                  ::_exit(0);
                })
        .inChild();
    EXPECT_THAT(endsOf(scriptTask("a")), testing::ElementsAre(NOT_STARTED)) << szCall;
  }
}

TEST_F(RunEnded, WhateverIsThrownBeforeTheScriptIsNoStart) {
  ignoreLog();
  Json::Value jTask = scriptTask("a");
  jTask["owner"] = 65534;
  for (const char* szCall : {"openat(", "ORVAUserGetByUID", "system"}) {
    fakes().before(szCall, [] { throw std::bad_alloc(); }).inChild();
    EXPECT_THAT(endsOf(jTask), testing::ElementsAre(NOT_STARTED)) << szCall;
  }
}

TEST_F(RunEnded, WhateverIsThrownAfterTheScriptIsNotToldAgain) {
  ignoreLog();
  fakes().before("system(cat ", [] { throw std::bad_alloc(); }).inChild();
  EXPECT_THAT(endsOf(scriptTask("a", "exit 3\n")), testing::ElementsAre("ORVARunEnded(768)"));
}

TEST_F(RunEnded, TheRunnerItselfTellsNothing) {
  EXPECT_EQ(runOne(store(scriptTask("a"))), 0);
  EXPECT_THAT(fakes().calls(), testing::Not(testing::Contains(testing::StartsWith("ORVARunEnded"))));
  takeTemporaryFiles();
}
