/// Ending runs.

#include "common/runs/run_ending.h"

#include <csignal>
#include <gtest/gtest.h>

#include "clock.h"
#include "common/support/process.h"
#include "held_run.h"
#include "run_holding.h"
#include "wait_until.h"

using namespace Host;
using HostTest::HeldRun;
using HostTest::waitUntil;

namespace {

using EndingOfARun = HostTest::RunHolding;

constexpr std::chrono::seconds PATIENT(20);

}  // namespace

TEST_P(EndingOfARun, ScriptThatItsShellStartsAfterwardsIsAskedToo) {
  HeldRun run(unit(), "echo; read go; sleep 300; exit $?");
  run.hear();
  RunEnding ending(run.group(), PATIENT);
  EXPECT_FALSE(ending.step());
  run.tell();
  waitUntil([&] {
    const bool blEnded = ending.step();
    return blEnded || !Process(run.pid()).isAlive();
  });
  EXPECT_EQ(run.waitEnd(), 128 + SIGTERM);
  EXPECT_TRUE(ending.step());
}

TEST_P(EndingOfARun, ScriptIsAskedOnceForThoseThatItStartsThenMayTidyUp) {
  HeldRun run(unit(),
              "/bin/sh -c 'trap \"/bin/sh -c \\\"echo tidies; read go\\\"; exit 9\" TERM;"
              " /bin/sh -c \"echo; exec sleep 300\"'; exit $?");
  // Written by the child, for until a program has replaced it, it has the trap and would lose the signal.
  run.hear();
  RunEnding ending(run.group(), PATIENT);
  EXPECT_EQ(run.hear(), "tidies");
  EXPECT_FALSE(ending.step());
  EXPECT_FALSE(ending.step());
  run.tell();
  EXPECT_EQ(run.waitEnd(), 9);
  EXPECT_TRUE(ending.step());
}

TEST_P(EndingOfARun, ScriptThatDoesNotListenIsKilledWhenTheTimeIsOver) {
  HeldRun run(unit(), "/bin/sh -c 'trap \"\" TERM; echo; while :; do sleep 300; done'; exit $?");
  run.hear();
  RunEnding ending(run.group(), PATIENT);
  EXPECT_FALSE(ending.step());
  EXPECT_TRUE(Process(run.pid()).isAlive());
  HostTest::setClockForward(PATIENT);
  EXPECT_FALSE(ending.step());
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  waitUntil([&] { return ending.step(); });
}

TEST_P(EndingOfARun, ShellThatStartsNothingIsKilledWhenTheTimeIsOver) {
  HeldRun run(unit(), "echo; read go");
  run.hear();
  RunEnding ending(run.group(), std::chrono::seconds(0));
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  waitUntil([&] { return ending.step(); });
}

INSTANTIATE_TEST_SUITE_P(Held, EndingOfARun, HostTest::bothHoldings(), HostTest::holdingName);
