// taskPreAction, taskPostAction and resultPostAction: convert whole records and arrays of them.

#include <array>
#include <cstdlib>
#include <ctime>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::string OWNER_OF_ELEMENT = "0 > objectChangeFormatOwner(jInOut[(size_t)i], blAddName)";
const std::string OWNER = "0 > objectChangeFormatOwner(jInOut, blAddName)";
const std::string TIMES_OF_ELEMENT = "0 > objectChangeTimeStamp(jInOut[(size_t)i], true)";
const std::string TIMES = "0 > objectChangeTimeStamp(jInOut, true)";
const std::string NO_OWNER_OBJECT = "jRec[\"owner\"].type() != Json::objectValue";
const std::string CONVERT =
    "0 > convert2ReadableTime(jRec[strKey].asInt64(), strTime, ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS)";

struct Action {
  const char* szName;
  int (*pAction)(Json::Value&);
};

constexpr std::array ACTIONS = {Action{"taskPreAction", &taskPreAction}, Action{"taskPostAction", &taskPostAction},
                                Action{"resultPostAction", &resultPostAction}};

class ActionTest : public EorvaTest {
protected:
  ActionTest() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
    addUser("alice", 1001, 1001);
  }

  // The lines for a time that the platform cannot render.
  void expectTimeFailure(const std::string& strKey, const std::string& strRecord, const std::string& strCheck) {
    expectFailure(CONVERT, UTIL);
    expectFailure("0 > objectChangeTimeStampByKey(jRec, blToString, \"" + strKey + "\")", UTIL);
    expectLine("err jRec=" + strRecord, UTIL);
    expectFailure(strCheck, UTIL);
  }
};

class EveryAction : public ActionTest {};
class TaskPreAction : public ActionTest {};
class TaskPostAction : public ActionTest {};
class ResultPostAction : public ActionTest {};

}  // namespace

TEST_F(EveryAction, LeavesEmptyValuesAsTheyAre) {
  // Debug lines of other functions would show further reads.
  blDebugOutput = true;
  for (const Action& action : ACTIONS) {
    for (const char* szValue : {"null", "[]", "{}"}) {
      Json::Value jValue = json(szValue);
      EXPECT_EQ(action.pAction(jValue), 0) << action.szName << " " << szValue;
      EXPECT_EQ(jValue, json(szValue));
    }
  }
  EXPECT_THAT(logLines(), testing::IsEmpty());
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(EveryAction, FailsOnOtherTypesThanARecordAndShowsTheValue) {
  for (const Action& action : ACTIONS) {
    for (const char* szValue : {"5", "1.5", "\"text\"", "\"\"", "true", "false"}) {
      Json::Value jValue = json(szValue);
      expectFailure("err jInOut type", UTIL);
      expectLine(std::string("jInOut=") + szValue, UTIL);
      EXPECT_EQ(action.pAction(jValue), -1) << action.szName << " " << szValue;
      EXPECT_EQ(jValue, json(szValue));
    }
  }
}

TEST_F(EveryAction, LeavesRecordsWithoutOwnerAndTimesAsTheyAre) {
  for (const Action& action : ACTIONS) {
    for (const char* szValue : {"{'task_name': 'a'}", "[{'task_name': 'a'}, {}, {'enable': true}]", "[null, []]"}) {
      Json::Value jValue = json(szValue);
      EXPECT_EQ(action.pAction(jValue), 0) << action.szName << " " << szValue;
      EXPECT_EQ(jValue, json(szValue));
    }
  }
}

TEST_F(TaskPreAction, TakesTheUidOfATask) {
  Json::Value jTask = json("{'task_name': 'a', 'owner': {'1001': 'alice'}, 'start_time': 5}");
  EXPECT_EQ(taskPreAction(jTask), 0);
  EXPECT_EQ(jTask, json("{'task_name': 'a', 'owner': 1001, 'start_time': 5}"));
}

TEST_F(TaskPreAction, TakesTheUidOfEachTaskOfAnArray) {
  Json::Value jTasks = json("[{'owner': {'1001': 'alice'}}, {'task_name': 'b'}, {'owner': {'abc': 'x'}}]");
  EXPECT_EQ(taskPreAction(jTasks), 0);
  EXPECT_EQ(jTasks, json("[{'owner': 1001}, {'task_name': 'b'}, {'owner': 0}]"));
}

TEST_F(TaskPreAction, FailsOnATaskWhoseOwnerIsNoObject) {
  Json::Value jTask = json("{'owner': 1001}");
  expectFailure(NO_OWNER_OBJECT, UTIL);
  expectLine("err jRec={\"owner\":1001}", UTIL);
  expectFailure(OWNER, UTIL);
  expectLine("jInOut={\"owner\":1001}", UTIL);
  EXPECT_EQ(taskPreAction(jTask), -1);
}

TEST_F(TaskPreAction, StopsAtTheFirstElementThatFails) {
  Json::Value jTasks = json("[{'owner': {'1': 'x'}}, {'owner': 2}, {'owner': {'3': 'z'}}]");
  expectFailure(NO_OWNER_OBJECT, UTIL);
  expectLine("err jRec={\"owner\":2}", UTIL);
  expectFailure(OWNER_OF_ELEMENT, UTIL);
  expectLine("jInOut=[{\"owner\":1},{\"owner\":2},{\"owner\":{\"3\":\"z\"}}]", UTIL);
  EXPECT_EQ(taskPreAction(jTasks), -1);
  EXPECT_EQ(jTasks, json("[{'owner': 1}, {'owner': 2}, {'owner': {'3': 'z'}}]"));
}

TEST_F(TaskPreAction, FailsOnAnElementThatIsNoRecord) {
  Json::Value jTasks = json("[5]");
  expectFailure("jRec.type() != Json::objectValue", UTIL);
  expectLine("err jRec=5", UTIL);
  expectFailure(OWNER_OF_ELEMENT, UTIL);
  expectLine("jInOut=[5]", UTIL);
  EXPECT_EQ(taskPreAction(jTasks), -1);
}

TEST_F(TaskPreAction, MakesNoCallThatCanFail) {
  const int cCalls = failEachCall([] {},
                                  [] {
                                    Json::Value jTask = json("{'owner': {'1001': 'alice'}}");
                                    EXPECT_EQ(taskPreAction(jTask), 0);
                                  });
  EXPECT_EQ(cCalls, 0);
}

TEST_F(TaskPostAction, NamesTheOwnerAndMakesTheTimesReadable) {
  Json::Value jTask = json("{'owner': 1001, 'last_start_time': 1767225600, 'last_stop_time': 0, 'enable': true}");
  EXPECT_EQ(taskPostAction(jTask), 0);
  EXPECT_EQ(jTask, json("{'owner': {'1001': 'alice'}, 'last_start_time': '2026-01-01 00:00:00',"
                        " 'last_stop_time': '1970-01-01 00:00:00', 'enable': true}"));
}

TEST_F(TaskPostAction, ConvertsTheOwnerOfEachElementBeforeItsTimes) {
  Json::Value jTasks = json("[{'owner': 1001, 'last_start_time': 1}, {'owner': 0, 'last_start_time': 2}]");
  EXPECT_EQ(taskPostAction(jTasks), 0);
  EXPECT_EQ(jTasks, json("[{'owner': {'1001': 'alice'}, 'last_start_time': '1970-01-01 00:00:01'},"
                         " {'owner': {'0': 'root'}, 'last_start_time': '1970-01-01 00:00:02'}]"));
  EXPECT_THAT(fakes().calls(),
              testing::ElementsAre("ORVAUserGetByUID(1001)", "ORVAUserFree(alice)", "convert2ReadableTime(1, 4)",
                                   "ORVAUserGetByUID(0)", "ORVAUserFree(root)", "convert2ReadableTime(2, 4)"));
}

TEST_F(TaskPostAction, AFailedOwnerSkipsTheTimes) {
  const std::string strTask = "{\"last_start_time\":1,\"owner\":\"alice\"}";
  Json::Value jTask = json(strTask);
  expectFailure("!jRec[\"owner\"].isInt64()", UTIL);
  expectLine("err jRec=" + strTask, UTIL);
  expectFailure(OWNER, UTIL);
  expectLine("jInOut=" + strTask, UTIL);
  EXPECT_EQ(taskPostAction(jTask), -1);
  EXPECT_EQ(jTask, json(strTask));
  EXPECT_THAT(fakes().calls(), testing::IsEmpty());
}

TEST_F(TaskPostAction, AFailedTimeKeepsTheNamedOwner) {
  Json::Value jTask = json("{'owner': 1001, 'last_stop_time': 5}");
  const std::string strAfter = "{\"last_stop_time\":5,\"owner\":{\"1001\":\"alice\"}}";
  fakes().fail("convert2ReadableTime");
  expectTimeFailure("last_stop_time", strAfter, TIMES);
  expectLine("jInOut=" + strAfter, UTIL);
  EXPECT_EQ(taskPostAction(jTask), -1);
  EXPECT_EQ(jTask, json(strAfter));
}

TEST_F(TaskPostAction, StopsAtTheFirstElementWhoseOwnerFails) {
  Json::Value jTasks = json("[{'owner': 1001}, {'owner': []}, {'owner': 1001}]");
  expectFailure("!jRec[\"owner\"].isInt64()", UTIL);
  expectLine("err jRec={\"owner\":[]}", UTIL);
  expectFailure(OWNER_OF_ELEMENT, UTIL);
  expectLine("jInOut=[{\"owner\":{\"1001\":\"alice\"}},{\"owner\":[]},{\"owner\":1001}]", UTIL);
  EXPECT_EQ(taskPostAction(jTasks), -1);
}

TEST_F(TaskPostAction, StopsAtTheFirstElementWhoseTimeFails) {
  Json::Value jTasks = json("[{'start_time': 0}, {'start_time': 1}, {'start_time': 2}]");
  fakes().fail("convert2ReadableTime", 2);
  expectTimeFailure("start_time", "{\"start_time\":1}", TIMES_OF_ELEMENT);
  expectLine("jInOut=[{\"start_time\":\"1970-01-01 00:00:00\"},{\"start_time\":1},{\"start_time\":2}]", UTIL);
  EXPECT_EQ(taskPostAction(jTasks), -1);
}

TEST_F(TaskPostAction, ATaskThatWentThroughBeforeFailsAndStays) {
  Json::Value jTask = json("{'owner': 1001, 'last_start_time': 1}");
  ASSERT_EQ(taskPostAction(jTask), 0);
  const Json::Value jShown = jTask;
  EXPECT_EQ(taskPostAction(jTask), -1);
  EXPECT_EQ(jTask, jShown);
  forgetLog();
}

TEST_F(TaskPostAction, EachFailingCallCostsTheNameOrFails) {
  Json::Value jTasks;
  const int cCalls = failEachCall([&] { jTasks = json("[{'owner': 0, 'last_start_time': 0}]"); },
                                  [&] {
                                    const int iResult = taskPostAction(jTasks);
                                    const bool blNamed = jTasks[0]["owner"] == json("{'0': 'root'}");
                                    const bool blReadable = jTasks[0]["last_start_time"].isString();
                                    EXPECT_EQ(iResult, blReadable ? 0 : -1);
                                    EXPECT_EQ(blNamed && blReadable, fakes().faults() == 0);
                                  });
  EXPECT_EQ(cCalls, 2);
}

TEST_F(ResultPostAction, MakesTheTimesOfARunReadableAndAddsNone) {
  Json::Value jResult = json("{'start_time': 1767225600}");
  EXPECT_EQ(resultPostAction(jResult), 0);
  EXPECT_EQ(jResult, json("{'start_time': '2026-01-01 00:00:00'}"));
}

TEST_F(ResultPostAction, LeavesTheOwnerAlone) {
  Json::Value jResults = json("[{'owner': 1001, 'stop_time': 1, 'event_fire_time': 2}]");
  EXPECT_EQ(resultPostAction(jResults), 0);
  EXPECT_EQ(jResults, json("[{'owner': 1001, 'stop_time': '1970-01-01 00:00:01',"
                           " 'event_fire_time': '1970-01-01 00:00:02'}]"));
}

TEST_F(ResultPostAction, FailsOnARunWhoseTimeIsNotRendered) {
  Json::Value jResult = json("{'event_fire_time': 5}");
  fakes().fail("convert2ReadableTime");
  expectTimeFailure("event_fire_time", "{\"event_fire_time\":5}", TIMES);
  expectLine("jInOut={\"event_fire_time\":5}", UTIL);
  EXPECT_EQ(resultPostAction(jResult), -1);
}

TEST_F(ResultPostAction, StopsAtTheFirstElementThatFails) {
  Json::Value jResults = json("[{'stop_time': 0}, {'stop_time': 1}, {'stop_time': 2}]");
  fakes().fail("convert2ReadableTime", 2);
  expectTimeFailure("stop_time", "{\"stop_time\":1}", TIMES_OF_ELEMENT);
  expectLine("jInOut=[{\"stop_time\":\"1970-01-01 00:00:00\"},{\"stop_time\":1},{\"stop_time\":2}]", UTIL);
  EXPECT_EQ(resultPostAction(jResults), -1);
}

TEST_F(ResultPostAction, EachFailingCallIsAFailure) {
  const int cCalls = failEachCall([] {},
                                  [] {
                                    Json::Value jResults = json("[{'start_time': 1, 'stop_time': 2}]");
                                    const int iResult = resultPostAction(jResults);
                                    EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
                                  });
  EXPECT_EQ(cCalls, 2);
}
