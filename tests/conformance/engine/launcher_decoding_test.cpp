// The recorded exit information for every status of a shell. The children are real, their shells are not.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class TwiceDecoded : public RunsTest {
protected:
  TwiceDecoded() { fakes().strVolume = ""; }

  // The child's record of a shell's wait status.
  Json::Value recorded(int iStatus) {
    fakes().answer("system", iStatus).inChild();
    Json::Value jTask = scriptTask("a");
    launchAndWait(jTask);
    fakes().clearFaults();
    return takeExitInfo(jTask);
  }
};

// The shell's exit status is read as a wait status again.
Json::Value expected(int iShellStatus) {
  const int iLow = iShellStatus & 0x7f;
  if (iLow == 0) {
    return exitInfo("normal", 0);
  }
  if (iShellStatus == 127) {
    return exitInfo("stop", 0);
  }
  return iShellStatus == 255 ? exitInfo("normal", 255) : exitInfo("by_signal", iLow);
}

}  // namespace

TEST_F(TwiceDecoded, ExitStatusesOfAShellAtEveryTurnOfTheRule) {
  ignoreLog();
  for (const auto& [iFirst, iLast] : {std::pair(0, 8), {62, 66}, {122, 138}, {190, 194}, {250, 255}}) {
    for (int iShellStatus = iFirst; iShellStatus <= iLast; ++iShellStatus) {
      EXPECT_EQ(recorded(iShellStatus << 8), expected(iShellStatus)) << iShellStatus;
    }
  }
  takeTemporaryFiles();
}

TEST_F(TwiceDecoded, AShellThatASignalKilledIsRecordedWithThatSignal) {
  ignoreLog();
  for (const int iSignal : {1, 2, 6, 9, 11, 15, 34, 64}) {
    EXPECT_EQ(recorded(iSignal), exitInfo("by_signal", iSignal));
    EXPECT_EQ(recorded(iSignal | 0x80), exitInfo("by_signal", iSignal)) << "with a core dump";
  }
  takeTemporaryFiles();
}
