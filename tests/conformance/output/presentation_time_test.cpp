// objectChangeTimeStamp: readable times; and myto_string.

#include <climits>
#include <cstdlib>
#include <ctime>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

const std::vector<std::string> TIME_KEYS = {"last_start_time", "last_stop_time", "start_time", "stop_time",
                                            "event_fire_time"};
const std::string CONVERT =
    "0 > convert2ReadableTime(jRec[strKey].asInt64(), strTime, ORVA_TIME_FORMAT_YYYY_MM_DD__HH_MM_SS)";

// 2026-01-01 00:00:00 UTC.
constexpr int NEW_YEAR = 1767225600;

Json::Value recordOf(const std::string& strKey, const Json::Value& jTime) {
  Json::Value jRec(Json::objectValue);
  jRec[strKey] = jTime;
  return jRec;
}

class ObjectChangeTimeStamp : public EorvaTest {
protected:
  ObjectChangeTimeStamp() {
    ::setenv("TZ", "UTC", 1);
    ::tzset();
  }

  static int change(Json::Value& jRec) { return objectChangeTimeStamp(jRec, true); }

  void expectGivenUp(const std::string& strKey, const std::string& strCheck) {
    expectFailure(strCheck, UTIL);
    expectFailure("0 > objectChangeTimeStampByKey(jRec, blToString, \"" + strKey + "\")", UTIL);
  }
};

class MytoString : public EorvaTest {};

}  // namespace

TEST_F(ObjectChangeTimeStamp, ConvertsTheFiveTimesAndNothingElse) {
  Json::Value jRec = json("{'task_name': 'a', 'other_time': 5}");
  int iTime = NEW_YEAR;
  for (const std::string& strKey : TIME_KEYS) {
    jRec[strKey] = iTime++;
  }
  EXPECT_EQ(change(jRec), 0);
  EXPECT_EQ(jRec, json("{'task_name': 'a', 'other_time': 5, 'last_start_time': '2026-01-01 00:00:00',"
                       " 'last_stop_time': '2026-01-01 00:00:01', 'start_time': '2026-01-01 00:00:02',"
                       " 'stop_time': '2026-01-01 00:00:03', 'event_fire_time': '2026-01-01 00:00:04'}"));
}

TEST_F(ObjectChangeTimeStamp, ConvertsInAFixedOrderWithFormat4) {
  Json::Value jRec(Json::objectValue);
  int iTime = 1;
  for (const std::string& strKey : TIME_KEYS) {
    jRec[strKey] = iTime++;
  }
  EXPECT_EQ(change(jRec), 0);
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("convert2ReadableTime(1, 4)", "convert2ReadableTime(2, 4)",
                                                    "convert2ReadableTime(3, 4)", "convert2ReadableTime(4, 4)",
                                                    "convert2ReadableTime(5, 4)"));
}

TEST_F(ObjectChangeTimeStamp, AddsNoTimeThatTheRecordLacks) {
  for (const std::string& strKey : TIME_KEYS) {
    Json::Value jRec = recordOf(strKey, NEW_YEAR);
    EXPECT_EQ(change(jRec), 0);
    EXPECT_EQ(jRec, recordOf(strKey, "2026-01-01 00:00:00"));
  }
}

TEST_F(ObjectChangeTimeStamp, ConvertsWhateverTheFlagSays) {
  for (const bool blToString : {true, false}) {
    Json::Value jRec = recordOf("start_time", NEW_YEAR);
    EXPECT_EQ(objectChangeTimeStamp(jRec, blToString), 0);
    EXPECT_EQ(jRec, recordOf("start_time", "2026-01-01 00:00:00"));
  }
}

TEST_F(ObjectChangeTimeStamp, PassesZeroToTheRendererToo) {
  Json::Value jRec = recordOf("stop_time", 0);
  EXPECT_EQ(change(jRec), 0);
  EXPECT_EQ(jRec, recordOf("stop_time", "1970-01-01 00:00:00"));
  EXPECT_THAT(fakes().calls(), testing::ElementsAre("convert2ReadableTime(0, 4)"));
}

TEST_F(ObjectChangeTimeStamp, NarrowsTimesToSigned32Bits) {
  const std::vector<std::pair<std::string, std::string>> times = {{"-1", "-1"},
                                                                  {"2147483647", "2147483647"},
                                                                  {"2147483648", "-2147483648"},
                                                                  {"4294967301", "5"},
                                                                  {"7.9", "7"},
                                                                  {"null", "0"},
                                                                  {"true", "1"}};
  for (const auto& [strTime, strSeconds] : times) {
    fakes().forgetCalls();
    Json::Value jRec = json("{'start_time': " + strTime + "}");
    EXPECT_EQ(change(jRec), 0) << strTime;
    EXPECT_THAT(fakes().calls(), testing::ElementsAre("convert2ReadableTime(" + strSeconds + ", 4)"));
  }
}

TEST_F(ObjectChangeTimeStamp, FailsOnATimeThatIsNoNumber) {
  for (const char* szTime : {"'2026-01-01 00:00:00'", "'5'", "[]", "{}", "1e300", "18446744073709551615"}) {
    const Json::Value jBefore = json(std::string("{'start_time': ") + szTime + "}");
    Json::Value jRec = jBefore;
    expectGivenUp("start_time", "!jRec[strKey].isInt64()");
    expectLine("err jRec=", UTIL).beginning();
    EXPECT_EQ(change(jRec), -1) << szTime;
    EXPECT_EQ(jRec, jBefore);
  }
}

TEST_F(ObjectChangeTimeStamp, NamesTheTimeThatCannotBeRendered) {
  for (const std::string& strKey : TIME_KEYS) {
    fakes().fail("convert2ReadableTime");
    Json::Value jRec = recordOf(strKey, 5);
    expectGivenUp(strKey, CONVERT);
    expectLine("err jRec={\"" + strKey + "\":5}", UTIL);
    EXPECT_EQ(change(jRec), -1);
    EXPECT_EQ(jRec, recordOf(strKey, 5));
  }
}

TEST_F(ObjectChangeTimeStamp, AnEmptyRenderingIsAFailure) {
  fakes().answer("convert2ReadableTime", 0, Json::Value(""));
  Json::Value jRec = recordOf("stop_time", 5);
  expectGivenUp("stop_time", "strTime.empty()");
  expectLine("err jRec={\"stop_time\":5}", UTIL);
  EXPECT_EQ(change(jRec), -1);
  EXPECT_EQ(jRec, recordOf("stop_time", 5));
}

TEST_F(ObjectChangeTimeStamp, KeepsTheConversionsBeforeTheFailure) {
  Json::Value jRec = json("{'last_start_time': 1, 'last_stop_time': 2, 'start_time': 3, 'stop_time': 4}");
  fakes().fail("convert2ReadableTime", 3);
  expectGivenUp("start_time", CONVERT);
  expectLine(
      "err jRec={\"last_start_time\":\"1970-01-01 00:00:01\",\"last_stop_time\":\"1970-01-01 00:00:02\","
      "\"start_time\":3,\"stop_time\":4}",
      UTIL);
  EXPECT_EQ(change(jRec), -1);
  EXPECT_EQ(jRec["last_stop_time"], "1970-01-01 00:00:02");
  EXPECT_EQ(jRec["start_time"], 3);
  EXPECT_EQ(jRec["stop_time"], 4);
}

TEST_F(ObjectChangeTimeStamp, AnEmptyRecordStaysAsItIs) {
  blDebugOutput = true;
  for (const char* szRec : {"null", "{}", "[]"}) {
    Json::Value jRec = json(szRec);
    expectDebug("jRec is emtpy, need not change timestamp format", UTIL);
    EXPECT_EQ(change(jRec), 0) << szRec;
    EXPECT_EQ(jRec, json(szRec));
  }
}

TEST_F(ObjectChangeTimeStamp, FailsOnARecordThatIsNoObject) {
  for (const char* szRec : {"[{\"start_time\":1}]", "\"start_time\"", "1", "false"}) {
    Json::Value jRec = json(szRec);
    expectFailure("jRec.type() != Json::objectValue", UTIL);
    expectLine(std::string("err jRec=") + szRec, UTIL);
    EXPECT_EQ(change(jRec), -1) << szRec;
    EXPECT_EQ(jRec, json(szRec));
  }
}

TEST_F(ObjectChangeTimeStamp, EachFailingCallFailsAndKeepsEarlierConversions) {
  Json::Value jRec;
  const int cCalls = failEachCall(
      [&] {
        for (const std::string& strKey : TIME_KEYS) {
          jRec[strKey] = NEW_YEAR;
        }
      },
      [&] {
        const int iResult = change(jRec);
        EXPECT_EQ(iResult, fakes().faults() > 0 ? -1 : 0);
        const size_t cConverted = fakes().calls().size() - static_cast<size_t>(fakes().faults());
        for (size_t i = 0; i < TIME_KEYS.size(); ++i) {
          EXPECT_EQ(jRec[TIME_KEYS[i]].isString(), i < cConverted) << TIME_KEYS[i];
        }
      });
  EXPECT_EQ(cCalls, 5);
}

TEST_F(MytoString, GivesTheDecimalText) {
  const std::vector<std::pair<int, std::string>> numbers = {{0, "0"},
                                                            {7, "7"},
                                                            {-7, "-7"},
                                                            {1700000000, "1700000000"},
                                                            {100, "100"},
                                                            {INT_MAX, "2147483647"},
                                                            {INT_MIN, "-2147483648"}};
  for (const auto& [iNumber, strText] : numbers) {
    EXPECT_EQ(myto_string(iNumber), strText);
  }
  EXPECT_EQ(failEachCall([] {}, [] { EXPECT_EQ(myto_string(5), "5"); }), 0);
}
