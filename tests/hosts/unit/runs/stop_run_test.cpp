/// Runs that cannot be stopped, and the failures about them.

#include "common/runs/stop_run.h"

#include <csignal>
#include <gtest/gtest.h>
#include <string>

#include "common/coordination/execution_file.h"
#include "common/runs/outcome.h"
#include "common/runs/run_identity.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "held_run.h"
#include "run_holding.h"
#include "with_store.h"

using namespace Host;
using HostTest::HeldRun;

namespace {

constexpr std::chrono::seconds NOT_AT_ALL(0);
constexpr std::chrono::seconds NO_GRACE(0);

class RunStopping : public HostTest::WithStore<HostTest::RunHolding> {
protected:
  /// Run 1, of an execution that nobody watches.
  void record(const HeldRun& run, ExecutionFile& file) {
    file.noteGroup(unit());
    file.noteRun(run.pid(), std::chrono::seconds(0));
    RunReport(file.path(), run.pid()).begin(run.groupName());
    HostTest::addRun(*m_session, "a", run.pid(), identityOf(processStatus(run.pid()).value()));
  }

  Json::Value record() { return requireRun(*m_session, 1); }

  /// The failure of a stop with these limits.
  std::string complaint(const StopLimits& limits) {
    try {
      stopRun(*m_session, record(), NO_GRACE, limits);
    } catch (const Failure& failure) {
      return failure.what();
    }
    return "it was stopped";
  }

  static const RunNotes& notesOf(const HeldRun& run, ExecutionFile& file) {
    file.update();
    return file.notes().mapRuns.at(run.pid());
  }
};

}  // namespace

TEST_P(RunStopping, ProcessThatDoesNotEvenEndWhenItIsKilledIsNotWaitedForLong) {
  HeldRun run(unit(), "echo; read go");
  ExecutionFile file(Json::Int64{0}, Json::Int64{0});
  record(run, file);
  HostTest::changeRun(*m_session, 1, objectOf({{"stop_time", 2}}));
  EXPECT_EQ(complaint({NOT_AT_ALL, NOT_AT_ALL}),
            "run 1 did not end: one of its processes was killed and has not ended; it may be waiting for a disk that "
            "does not respond");
  EXPECT_EQ(notesOf(run, file).strEndedBy, ENDED_STOPPED);
}

TEST_P(RunStopping, ExecutionThatDoesNotCloseTheRunIsNotWaitedForLong) {
  HeldRun run(unit(), "exit 0");
  ExecutionFile file(Json::Int64{0}, Json::Int64{0});
  record(run, file);
  run.waitEnd();
  EXPECT_EQ(complaint({NOT_AT_ALL, NOT_AT_ALL}), "run 1 was ended, but its execution has not closed it");
}

TEST_P(RunStopping, RunOfAnotherProgramIsLeftToIt) {
  HeldRun run(unit(), "echo; read go; exit 4");
  HostTest::addRun(*m_session, "a", run.pid());
  EXPECT_EQ(complaint({NOT_AT_ALL, NOT_AT_ALL}), "run 1 was started by another program, in process " +
                                                     std::to_string(run.pid()) + ": only that program can end it");
  run.tell();
  EXPECT_EQ(run.waitEnd(), 4);
}

TEST_P(RunStopping, RunOfAKilledExecutionIsEndedAndClosedHere) {
  HeldRun run(unit(), "echo; sleep 300");
  run.hear();
  {
    ExecutionFile file(Json::Int64{0}, Json::Int64{0});
    record(run, file);
  }
  const Json::Value jRun = stopRun(*m_session, record(), NO_GRACE);
  EXPECT_TRUE(jRun.isMember("stop_time"));
  EXPECT_EQ(textOf(jRun["exit_info"], "exit_type"), EXIT_INTERRUPTED);
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
}

INSTANTIATE_TEST_SUITE_P(Held, RunStopping, HostTest::bothHoldings(), HostTest::holdingName);
