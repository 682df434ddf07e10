/// The processes of a run are asked and killed, wherever they are.

#include "common/runs/run_group.h"

#include <csignal>
#include <gmock/gmock.h>

#include "common/support/control_group.h"
#include "common/support/process.h"
#include "held_run.h"
#include "run_holding.h"
#include "support/files.h"
#include "wait_until.h"

using namespace Host;
using HostTest::HeldRun;
using HostTest::waitUntil;
using testing::Contains;
using testing::IsEmpty;
using testing::Not;

namespace {

using RunGroups = HostTest::RunHolding;

char stateOf(pid_t pid) {
  const std::optional<ProcessStatus> status = processStatus(pid);
  return status ? status->cState : 'X';
}

}  // namespace

TEST_P(RunGroups, ScriptIsAskedAndItsShellTellsHowItEnded) {
  HeldRun run(unit(), "/bin/sh -c 'sleep 300 & echo; wait; exit 0'; exit $?");
  run.hear();
  EXPECT_THAT(run.group().members(), Contains(run.pid()));
  EXPECT_FALSE(run.group().isEmpty());
  EXPECT_TRUE(run.group().ask());
  EXPECT_EQ(run.waitEnd(), 128 + SIGTERM);
  waitUntil([&] { return run.group().isEmpty(); });
  EXPECT_THAT(run.group().members(), IsEmpty());
}

TEST_P(RunGroups, ScriptThatReplacedTheShellIsAsked) {
  HeldRun run(unit(), "echo; exec sleep 300");
  run.hear();
  waitUntil([&] { return run.group().ask(); });
  EXPECT_EQ(run.waitEnd(), 128 + SIGTERM);
}

TEST_P(RunGroups, RunThatHasStartedNothingYetIsNotAsked) {
  HeldRun run(unit(), "echo; read go; exit 7");
  run.hear();
  EXPECT_FALSE(run.group().ask());
  run.tell();
  EXPECT_EQ(run.waitEnd(), 7);
}

TEST_P(RunGroups, StoppedProcessIsContinuedSoThatItHears) {
  HeldRun run(unit(), "/bin/sh -c 'sleep 300 & echo $$; wait; exit 0'; exit $?");
  const pid_t pidScript = std::stoi(run.hear());
  ASSERT_EQ(kill(pidScript, SIGSTOP), 0);
  waitUntil([&] { return stateOf(pidScript) == 'T'; });
  EXPECT_TRUE(run.group().ask());
  EXPECT_EQ(run.waitEnd(), 128 + SIGTERM);
}

TEST_P(RunGroups, AskingReachesProcessesInTheBackground) {
  HeldRun run(unit(), "/bin/sh -c 'sleep 300 & trap \"\" TERM; echo $!; wait; exit 5'; exit $?");
  const Process background(std::stoi(run.hear()));
  EXPECT_TRUE(run.group().ask());
  EXPECT_EQ(run.waitEnd(), 5);
  waitUntil([&] { return !background.isAlive(); });
}

TEST_P(RunGroups, KillEndsTheProcessOfTheRunToo) {
  HeldRun run(unit(), "/bin/sh -c 'trap \"\" TERM; echo; sleep 300; sleep 300'; exit $?");
  run.hear();
  run.group().kill();
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  // In a session alone, the script may have started a process meanwhile.
  waitUntil([&] { return run.group().kill(), run.group().isEmpty(); });
}

TEST_P(RunGroups, WithoutProcessesIsEmptyAndNothingHappensToIt) {
  HeldRun run(unit(), "exit 0");
  run.waitEnd();
  waitUntil([&] { return run.group().isEmpty(); });
  EXPECT_FALSE(run.group().ask());
  run.group().kill();
}

TEST_P(RunGroups, OtherRunIsNotTouched) {
  HeldRun run(unit(), "echo; exec sleep 300");
  HeldRun other(unit(), "/bin/sh -c 'echo $$; read go; exit 6'; exit $?");
  run.hear();
  const pid_t pidOther = std::stoi(other.hear());
  EXPECT_THAT(run.group().members(), Not(Contains(pidOther)));
  run.group().ask();
  run.group().kill();
  EXPECT_NE(run.waitEnd(), 0);
  other.tell();
  EXPECT_EQ(other.waitEnd(), 6);
}

INSTANTIATE_TEST_SUITE_P(Held, RunGroups, HostTest::bothHoldings(), HostTest::holdingName);

namespace {

/// Only a control group holds those.
class FugitivesOfARun : public HostTest::RunHolding {};

}  // namespace

TEST_P(FugitivesOfARun, AreAskedInSessionsOfTheirOwnAfterTheRunHasEnded) {
  HeldRun run(unit(),
              "setsid /bin/sh -c 'trap \"echo asked; exit\" TERM; echo; while :; do sleep 0.01; done' & exit 0");
  run.hear();
  EXPECT_EQ(run.waitEnd(), 0);
  EXPECT_FALSE(run.group().isEmpty());
  EXPECT_TRUE(run.group().ask());
  EXPECT_EQ(run.hear(), "asked");
  waitUntil([&] { return run.group().isEmpty(); });
}

/// Each of them starts two others and ends, so that their ids are never known for long.
TEST_P(FugitivesOfARun, AreKilledWhileTheyFork) {
  OrvaTest::writeFile("/tmp/flee", "setsid /bin/sh /tmp/flee &\nsleep 0.02\nexec setsid /bin/sh /tmp/flee\n");
  HeldRun run(unit(), "/bin/sh /tmp/flee");
  waitUntil([&] { return run.group().members().size() > 20U; });
  run.group().kill();
  waitUntil([&] { return run.group().isEmpty(); });
}

/// The owner's service manager moves processes for him, also that of the run.
TEST_P(FugitivesOfARun, ProcessOfTheRunIsKilledInAnotherGroupToo) {
  HeldRun run(unit(), "echo; exec sleep 300");
  run.hear();
  const ControlGroup own(unit() + "/" + run.groupName());
  const RunGroup group(own.path(), run.pid(), processStatus(run.pid()).value().ticksStart);
  const ControlGroup elsewhere = ControlGroup(unit()).below("elsewhere");
  ASSERT_TRUE(elsewhere.create());
  OrvaTest::writeFile(elsewhere.path() + "/cgroup.procs", std::to_string(run.pid()));
  // It would end with its shell.
  ASSERT_EQ(kill(run.pid(), SIGSTOP), 0);
  own.kill();
  waitUntil([&] { return !own.isPopulated(); });
  EXPECT_FALSE(group.isEmpty());
  group.kill();
  waitUntil([&] { return !Process(run.pid()).isAlive(); });
  EXPECT_TRUE(group.isEmpty());
}

INSTANTIATE_TEST_SUITE_P(Held, FugitivesOfARun, testing::Values(HostTest::Holding::GROUP), HostTest::holdingName);
