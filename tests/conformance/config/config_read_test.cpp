// recConfigGet, which accepts a damaged configuration, and eventList.

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string CONFIG_PATH = "/usr/orva/etc/eorvascheduler/eorvascheduler-conf.json";
const std::string EVENT_PATH = "/usr/orva/share/eorvascheduler/eorvascheduler-event.json";

class RecConfigGet : public EorvaTest {};
class EventList : public EorvaTest {};

}  // namespace

TEST_F(RecConfigGet, DeliversTheWholeFile) {
  writeFile(CONFIG_PATH, R"({"eorvascheduler": {"type": "eorvascheduler"}, "other": 1})");
  Json::Value jConfig = json("{'old': true}");
  EXPECT_EQ(recConfigGet(jConfig), 0);
  EXPECT_EQ(jConfig, json("{'eorvascheduler': {'type': 'eorvascheduler'}, 'other': 1}"));
}

TEST_F(RecConfigGet, WithoutAFileDeliversAnEmptyObject) {
  blDebugOutput = true;
  expectDebug("not config file exist, path=" + CONFIG_PATH, LIB);
  Json::Value jConfig("anything");
  EXPECT_EQ(recConfigGet(jConfig), 0);
  EXPECT_EQ(jConfig, Json::Value(Json::objectValue));
}

TEST_F(RecConfigGet, AFileThatDoesNotParseIsNoFailure) {
  blDebugOutput = true;
  for (const char* szContent : {"", "{", "no json", "{} {}"}) {
    writeFile(CONFIG_PATH, szContent);
    expectDebug("failed to load config file=" + CONFIG_PATH, LIB);
    Json::Value jConfig = json("{'old': true}");
    EXPECT_EQ(recConfigGet(jConfig), 0) << szContent;
    EXPECT_TRUE(jConfig.isNull()) << szContent;
  }
}

TEST_F(RecConfigGet, SaysNothingOfAFileThatDoesNotParseUnlessDebugging) {
  writeFile(CONFIG_PATH, "{");
  Json::Value jConfig;
  EXPECT_EQ(recConfigGet(jConfig), 0);
}

TEST_F(RecConfigGet, AFileThatCannotBeReadIsNoFailure) {
  writeFile(CONFIG_PATH, "{}");
  fakes().fail("open").withErrno(EACCES);
  Json::Value jConfig = json("{'old': true}");
  EXPECT_EQ(recConfigGet(jConfig), 0);
  EXPECT_TRUE(jConfig.isNull());
}

TEST_F(RecConfigGet, FailsWhenTheFileCannotBeExamined) {
  for (const int iErrno : {EACCES, ELOOP, EIO}) {
    fakes().fail("stat(" + CONFIG_PATH).withErrno(iErrno);
    expectLine("load event config failed, file=" + CONFIG_PATH, LIB).withErrno(iErrno);
    Json::Value jConfig;
    EXPECT_EQ(recConfigGet(jConfig), -1);
  }
}

TEST_F(RecConfigGet, DocumentThatIsNoObjectIsNoFailure) {
  for (const char* szContent : {"[1]", "null", "17"}) {
    writeFile(CONFIG_PATH, szContent);
    Json::Value jConfig = json("{'old': true}");
    EXPECT_EQ(recConfigGet(jConfig), 0);
    EXPECT_EQ(jConfig, json(szContent));
  }
}

TEST_F(RecConfigGet, EachFailingCallIsAFailureOrLeavesNullOrTheWholeFile) {
  const int cCalls = failEachCall([] { writeFile(CONFIG_PATH, "{\"a\":1}"); },
                                  [] {
                                    Json::Value jConfig;
                                    const int iResult = recConfigGet(jConfig);
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
                                    EXPECT_TRUE(jConfig == json("{'a': 1}") || fakes().faults() > 0);
                                    EXPECT_TRUE(jConfig == json("{'a': 1}") || jConfig.isNull());
                                  });
  EXPECT_GE(cCalls, 4);
}

TEST_F(EventList, DeliversTheCatalogueExactlyAsItStands) {
  for (const char* szContent : {"{'bootup': {'text': ['a', 1, null]}, 'shutdown': {}}", "['bootup']", "'bootup'"}) {
    const Json::Value jContent = json(szContent);
    writeFile(EVENT_PATH, compactJson(jContent));
    Json::Value jEvents = json("{'old': true}");
    EXPECT_EQ(eventList(jEvents), 0);
    EXPECT_EQ(jEvents, jContent);
  }
}

TEST_F(EventList, FailsWithoutACatalogue) {
  expectFailure("!jEventOut.fromFile(EORVA_SCHEDULER_EVENT_PATH)", LIB).withErrno(ENOENT);
  expectLine("load event list failed, file=" + EVENT_PATH, LIB);
  Json::Value jEvents;
  EXPECT_EQ(eventList(jEvents), -1);
}

TEST_F(EventList, FailsOnACatalogueThatDoesNotParse) {
  for (const char* szContent : {"", "{", "[1", "{} trailing"}) {
    writeFile(EVENT_PATH, szContent);
    expectFailure("!jEventOut.fromFile(EORVA_SCHEDULER_EVENT_PATH)", LIB);
    expectLine("load event list failed, file=" + EVENT_PATH, LIB);
    Json::Value jEvents = json("{'old': true}");
    EXPECT_EQ(eventList(jEvents), -1) << szContent;
  }
}

TEST_F(EventList, LogsToStandardOutputWhenTheFlagIsSet) {
  blLogToStdout = true;
  expectFailure("!jEventOut.fromFile(EORVA_SCHEDULER_EVENT_PATH)", LIB);
  expectLine("load event list failed, file=" + EVENT_PATH, LIB);
  Json::Value jEvents;
  EXPECT_EQ(eventList(jEvents), -1);
  EXPECT_TRUE(logLines().at(0).blStdout);
  EXPECT_TRUE(logLines().at(1).blStdout);
}

TEST_F(EventList, EachFailingCallIsAFailureOrDeliversTheCatalogue) {
  const int cCalls = failEachCall([] { writeFile(EVENT_PATH, "[1]"); },
                                  [] {
                                    Json::Value jEvents;
                                    const int iResult = eventList(jEvents);
                                    EXPECT_TRUE(iResult == 0 || (iResult == -1 && fakes().faults() > 0));
                                    EXPECT_EQ(jEvents, iResult == 0 ? json("[1]") : Json::Value());
                                  });
  EXPECT_GE(cCalls, 3);
}
