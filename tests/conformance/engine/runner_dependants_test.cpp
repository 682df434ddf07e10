// runTaskArray: the order in which tasks that wait for others start. The children are simulated.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

const Json::Value DONE = exitInfo("normal", 0);

class RunnerDependants : public RunsTest {
protected:
  RunnerDependants() { fakes().pretendChildren(DONE); }
};

}  // namespace

TEST_F(RunnerDependants, ADependantStartsOneSecondAfterItsPrerequisiteEnded) {
  store(scriptTask("a"));
  store(dependant("after_a", "[a]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_EQ(run(2)["start_time"].asInt64(), run(1)["stop_time"].asInt64() + 1);
}

TEST_F(RunnerDependants, AChainRunsInItsOrder) {
  store(scriptTask("c"));
  store(dependant("b", "[c]"));
  store(dependant("a", "[b]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("c", "b", "a"));
}

TEST_F(RunnerDependants, ATaskThatWaitsForTwoStartsOnceAfterTheLaterOfThemHoweverTheyEnded) {
  for (const Json::Value& jExit : {DONE, exitInfo("normal", 1), exitInfo("by_signal", 9), exitInfo("stop", 0)}) {
    fakes().reset();
    fakes().pretendChildren();
    store(scriptTask("first"));
    store(scriptTask("second"));
    store(dependant("join", "[first][second]"));
    fakes().onSleep([&](int iPass) {
      if (iPass == 1 || iPass == 3) {
        fakes().endChild(fakes().pretendedChildren().at(iPass == 1 ? 1 : 0), jExit);
      } else if (iPass == 5) {
        fakes().endChild(fakes().pretendedChildren().at(2), jExit);
      }
      EXPECT_EQ(fakes().pretendedChildren().size(), iPass < 5 ? 2U : 3U);
    });
    EXPECT_EQ(fire(), 0);
    EXPECT_THAT(started(), testing::ElementsAre("first", "second", "join"));
  }
}

TEST_F(RunnerDependants, ATaskThatWaitsForTwoThatEndInOnePassStartsOnce) {
  store(scriptTask("first"));
  store(scriptTask("second"));
  store(dependant("join", "[first][second]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("first", "second", "join"));
}

TEST_F(RunnerDependants, ADiamondRunsFromTheTop) {
  store(scriptTask("d"));
  store(dependant("b", "[d]"));
  store(dependant("e", "[d]"));
  store(dependant("a", "[b][e]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("d", "b", "e", "a"));
}

TEST_F(RunnerDependants, ADisabledOneNeverStartsAndKeepsThoseBehindItWaiting) {
  store(scriptTask("a"));
  Json::Value jDisabled = dependant("disabled", "[a]");
  jDisabled["enable"] = false;
  store(jDisabled);
  store(dependant("behind", "[disabled]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
}

TEST_F(RunnerDependants, OneWithoutTheEnableMemberStarts) {
  store(scriptTask("a"));
  Json::Value jTask = dependant("after_a", "[a]");
  jTask.removeMember("enable");
  store(jTask);
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "after_a"));
}

TEST_F(RunnerDependants, OneThatAlsoWaitsForAnotherEventsTaskNeverStarts) {
  store(scriptTask("a"));
  Json::Value jOther = scriptTask("other");
  jOther["event"] = "shutdown";
  store(jOther);
  store(dependant("join", "[a][other]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
}

TEST_F(RunnerDependants, OneThatAlsoWaitsForADisabledTaskNeverStarts) {
  store(scriptTask("a"));
  Json::Value jDisabled = scriptTask("disabled");
  jDisabled["enable"] = false;
  store(jDisabled);
  store(dependant("join", "[a][disabled]"));
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
}

TEST_F(RunnerDependants, OneThatAlsoWaitsForATaskThatMayNotRunNowNeverStarts) {
  store(scriptTask("a"));
  Json::Value jBlocked = scriptTask("blocked");
  jBlocked["run_the_same_time"] = false;
  jBlocked["status"] = json("{'running': [4242]}");
  store(jBlocked);
  fakes().alivePids.insert(4242);
  store(dependant("join", "[a][blocked]"));
  expectLine("cannot run now, same task running pid=4242", LIB);
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a"));
}

TEST_F(RunnerDependants, OneOfAnotherEventStartsWithItsPrerequisite) {
  store(scriptTask("a"));
  Json::Value jOther = dependant("after_a", "[a]");
  jOther["event"] = "shutdown";
  store(jOther);
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "after_a"));
  EXPECT_EQ(run(2)["trigger_event"], "bootup");
}

TEST_F(RunnerDependants, AMalformedOneEndsTheExaminationAndThoseBeforeItStart) {
  store(scriptTask("a"));
  store(dependant("b_fine", "[a]"));
  store(dependant("c_malformed", "[a][b"));
  store(dependant("d_fine", "[a]"));
  expectFailure("string::npos == (posEnd = strTaskDepend.find(\"]\", posStart))", LIB);
  expectLine("0 > getNextReadyTask(qComplete, it->second, pApi, pApiResult, pDb, jTaskArray)", LIB);
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "b_fine"));
}

TEST_F(RunnerDependants, AFailedExaminationDoesNotEndTheExecution) {
  store(scriptTask("a"));
  store(scriptTask("b"));
  store(dependant("after_a", "[a]"));
  store(dependant("after_b", "[b]"));
  fakes().fail("recList(task, {\"orvaSqlWhereFilter");
  expectFailure("0 > pApi->recList(jFilter, jOut)", LIB);
  expectFailure("0 > recListRelateEx(pApi, jFilter, jArray, pDb, false, string(\"\") , false)", LIB);
  expectLine("0 > getNextReadyTask(qComplete, it->second, pApi, pApiResult, pDb, jTaskArray)", LIB);
  EXPECT_EQ(fire(), 0);
  EXPECT_THAT(started(), testing::ElementsAre("a", "b", "after_b"));
}
