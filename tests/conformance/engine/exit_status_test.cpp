// getExitStatus: classifies a child's wait status.

#include "engine/exit_status.h"

#include <climits>

#include "fakes/eorva_test.h"

using namespace OrvaTest;

namespace {

class GetExitStatus : public EorvaTest {
protected:
  static Json::Value classified(int iStatus) {
    Json::Value jExit;
    EXPECT_EQ(getExitStatus(iStatus, jExit), 0) << iStatus;
    return jExit;
  }

  static Json::Value exitInfo(const std::string& strType, int iCode) {
    Json::Value jExit(Json::objectValue);
    jExit["exit_type"] = strType;
    jExit["exit_code"] = iCode;
    return jExit;
  }
};

class ExitCodePath : public EorvaTest {};

}  // namespace

TEST_F(GetExitStatus, ClassifiesTheKnownStatuses) {
  const std::vector<std::pair<int, Json::Value>> statuses = {
      {0, exitInfo("normal", 0)},        {0x0100, exitInfo("normal", 1)},    {0x7f00, exitInfo("normal", 127)},
      {0xff00, exitInfo("normal", 255)}, {0x0009, exitInfo("by_signal", 9)}, {0x0089, exitInfo("by_signal", 9)},
      {1, exitInfo("by_signal", 1)},     {126, exitInfo("by_signal", 126)},  {127, exitInfo("stop", 0)},
      {0x137f, exitInfo("stop", 19)},    {0xff7f, exitInfo("stop", 255)},    {128, exitInfo("normal", 0)},
      {137, exitInfo("by_signal", 9)},   {3, exitInfo("by_signal", 3)},      {254, exitInfo("by_signal", 126)},
      {0x10000, exitInfo("normal", 0)},  {0x10200, exitInfo("normal", 2)},   {0x1ff7f, exitInfo("stop", 255)},
      {INT_MIN, exitInfo("normal", 0)},  {-256, exitInfo("normal", 255)},    {-255, exitInfo("by_signal", 1)},
      {-129, exitInfo("stop", 255)}};
  for (const auto& [iStatus, jExpected] : statuses) {
    EXPECT_EQ(classified(iStatus), jExpected) << iStatus;
  }
}

TEST_F(GetExitStatus, EveryExitStatusIsNormal) {
  for (int iCode = 0; iCode <= 255; ++iCode) {
    EXPECT_EQ(classified(iCode << 8), exitInfo("normal", iCode));
  }
}

TEST_F(GetExitStatus, EverySignalIsBySignalWithACoreOrWithout) {
  for (int iSignal = 1; iSignal <= 126; ++iSignal) {
    EXPECT_EQ(classified(iSignal), exitInfo("by_signal", iSignal));
    EXPECT_EQ(classified(iSignal | 0x80), exitInfo("by_signal", iSignal));
  }
}

TEST_F(GetExitStatus, EveryStopSignalIsStop) {
  for (int iSignal = 0; iSignal <= 255; ++iSignal) {
    EXPECT_EQ(classified(iSignal << 8 | 0x7f), exitInfo("stop", iSignal));
  }
}

TEST_F(GetExitStatus, AContinuedChildHasNoCode) {
  EXPECT_EQ(classified(0xffff), json("{'exit_type': 'continue'}"));
}

TEST_F(GetExitStatus, FailsOnAStatusThatFitsNoClass) {
  for (const int iStatus : {-1, 0x00ff, 0x01ff, 0xfeff, 0x1ffff, INT_MAX}) {
    Json::Value jExit = json("{'exit_type': 'old'}");
    expectFailure("error exit type, iStatus=" + std::to_string(iStatus), UTIL);
    EXPECT_EQ(getExitStatus(iStatus, jExit), -1) << iStatus;
    EXPECT_EQ(jExit, json("{'exit_type': 'old'}"));
  }
}

TEST_F(GetExitStatus, ReplacesTheEarlierValue) {
  Json::Value jExit = json("{'exit_type': 'old', 'exit_code': 5, 'other': [1]}");
  EXPECT_EQ(getExitStatus(0xffff, jExit), 0);
  EXPECT_EQ(jExit, json("{'exit_type': 'continue'}"));
  EXPECT_EQ(getExitStatus(0x0200, jExit), 0);
  EXPECT_EQ(jExit, exitInfo("normal", 2));
}

TEST_F(GetExitStatus, FailsOnAValueThatIsNeitherObjectNorNull) {
  for (const char* szValue : {"'text'", "''", "[]", "[{}]", "0", "1.5", "false"}) {
    Json::Value jExit = json(szValue);
    expectFailure("jExit.type() != Json::objectValue && jExit.type() != Json::nullValue", UTIL);
    EXPECT_EQ(getExitStatus(0, jExit), -1) << szValue;
    EXPECT_EQ(jExit, json(szValue));
  }
}

TEST_F(GetExitStatus, ChecksTheValueBeforeTheStatus) {
  Json::Value jExit(Json::arrayValue);
  expectFailure("jExit.type() != Json::objectValue && jExit.type() != Json::nullValue", UTIL);
  EXPECT_EQ(getExitStatus(-1, jExit), -1);
}

TEST_F(GetExitStatus, ShowsStatusAndOutcomeWhenDebugging) {
  blDebugOutput = true;
  expectDebug("iStatus=256", UTIL);
  expectDebug("jExitNew={\"exit_code\":1,\"exit_type\":\"normal\"}", UTIL);
  Json::Value jExit;
  EXPECT_EQ(getExitStatus(256, jExit), 0);
  expectDebug("iStatus=-1", UTIL);
  expectFailure("error exit type, iStatus=-1", UTIL);
  EXPECT_EQ(getExitStatus(-1, jExit), -1);
}

TEST_F(GetExitStatus, ShowsTheStatusBeforeTheValueIsChecked) {
  blDebugOutput = true;
  Json::Value jExit("text");
  expectDebug("iStatus=9", UTIL);
  expectFailure("jExit.type() != Json::objectValue && jExit.type() != Json::nullValue", UTIL);
  EXPECT_EQ(getExitStatus(9, jExit), -1);
}

TEST_F(GetExitStatus, MakesNoCallThatCanFail) {
  EXPECT_EQ(failEachCall([] {}, [] { classified(9); }), 0);
}

TEST_F(ExitCodePath, EndsWithTheProcessId) {
  EXPECT_EQ(Orva::exitCodePath(4711), "/tmp/eorvascheduler_exit_code.4711");
  EXPECT_EQ(Orva::exitCodePath(INT_MAX), "/tmp/eorvascheduler_exit_code.2147483647");
}
