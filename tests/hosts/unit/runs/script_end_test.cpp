/// How a script ended, from the wait status of its shell.

#include "common/runs/script_end.h"

#include <csignal>
#include <gtest/gtest.h>
#include <set>
#include <sys/wait.h>

using namespace Host;
using Kind = ScriptEnd::Kind;

namespace {

ScriptEnd endOf(Json::Int64 iStatus) {
  Json::Value jRun(Json::objectValue);
  jRun["shell_status"] = iStatus;
  return scriptEndOf(jRun).value();
}

/// The signals with a name. The C library keeps 32 and 33 for itself.
std::set<int> signals() {
  std::set<int> setSignals;
  for (int iSignal = 1; iSignal <= SIGRTMAX; ++iSignal) {
    if (iSignal != 32 && iSignal != 33) {
      setSignals.insert(iSignal);
    }
  }
  return setSignals;
}

}  // namespace

TEST(ScriptEnds, AreNotKnownWithoutAStatus) {
  Json::Value jRun(Json::objectValue);
  EXPECT_FALSE(scriptEndOf(jRun));
  jRun["shell_status"] = Json::Value();
  EXPECT_FALSE(scriptEndOf(jRun));
  jRun["shell_status"] = "0";
  EXPECT_FALSE(scriptEndOf(jRun));
}

TEST(ScriptEnds, HaveTheExitStatusOrTheSignalThatTheShellReports) {
  for (int iExit = 0; iExit <= 255; ++iExit) {
    const ScriptEnd end = endOf(W_EXITCODE(iExit, 0));
    const bool blSignal = signals().count(iExit - 128) > 0;
    EXPECT_EQ(end.kind, blSignal ? Kind::KILLED : Kind::EXITED) << iExit;
    EXPECT_EQ(end.iNumber, blSignal ? iExit - 128 : iExit);
  }
}

TEST(ScriptEnds, HaveTheSignalThatKilledTheShell) {
  for (int iSignal = 1; iSignal <= SIGRTMAX; ++iSignal) {
    for (const int iStatus : {W_EXITCODE(0, iSignal), W_EXITCODE(0, iSignal) | WCOREFLAG}) {
      EXPECT_EQ(endOf(iStatus).kind, Kind::KILLED) << iStatus;
      EXPECT_EQ(endOf(iStatus).iNumber, iSignal);
    }
  }
}

TEST(ScriptEnds, CanBeAFailedStart) {
  EXPECT_EQ(endOf(-1).kind, Kind::NOT_STARTED);
}

TEST(ScriptEnds, SignalsHaveTheirNames) {
  EXPECT_EQ(signalName(SIGHUP), "SIGHUP");
  EXPECT_EQ(signalName(SIGKILL), "SIGKILL");
  EXPECT_EQ(signalName(SIGRTMIN), "SIGRTMIN");
  EXPECT_EQ(signalName(SIGRTMAX), "SIGRTMIN+30");
  for (int iSignal = -2; iSignal <= 256; ++iSignal) {
    EXPECT_EQ(signalName(iSignal).empty(), signals().count(iSignal) == 0) << iSignal;
  }
}
