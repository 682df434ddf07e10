// What is recorded of every status that a shell can end with. The children are real, their shells are not.

#include "conformance/engine/runs.h"

using namespace OrvaTest;

namespace {

class TwiceDecoded : public RunsTest {
protected:
  TwiceDecoded() { fakes().strVolume = ""; }

  // What the child records of a wait status that the shell left.
  Json::Value recorded(int iStatus) {
    fakes().answer("system", iStatus).inChild();
    Json::Value jTask = scriptTask("a");
    launchAndWait(jTask);
    fakes().clearFaults();
    return takeExitInfo(jTask);
  }
};

// As the shell's status is read as a wait status in its turn.
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

TEST_F(TwiceDecoded, EveryExitStatusOfAShell) {
  ignoreLog();
  for (int iShellStatus = 0; iShellStatus <= 255; ++iShellStatus) {
    EXPECT_EQ(recorded(iShellStatus << 8), expected(iShellStatus)) << iShellStatus;
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
