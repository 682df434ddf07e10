/// Runs are ended by their time limit, by a line in the file of their execution, or with the execution.

#include "common/executions/run_watch.h"

#include <csignal>
#include <filesystem>
#include <gmock/gmock.h>
#include <memory>
#include <optional>
#include <sys/resource.h>

#include "clock.h"
#include "common/runs/outcome.h"
#include "common/support/process.h"
#include "fresh_host.h"
#include "held_run.h"
#include "run_holding.h"
#include "wait_until.h"

using namespace Host;
using HostTest::HeldRun;
using HostTest::waitUntil;

namespace {

constexpr std::chrono::seconds NO_LIMIT(0);
constexpr std::chrono::seconds LIMIT(60);
constexpr std::chrono::seconds PATIENT(20);
constexpr std::chrono::seconds AT_ONCE(0);

/// Ends with 128 + SIGTERM when it is asked to.
constexpr char LISTENS[] = "/bin/sh -c 'sleep 300 & echo; wait; exit 0'; exit $?";
constexpr char DOES_NOT_LISTEN[] = "/bin/sh -c 'trap \"\" TERM; echo; while :; do sleep 300; done'; exit $?";

class RunWatching : public HostTest::RunHolding {
protected:
  void SetUp() override {
    RunHolding::SetUp();
    HostTest::freshHost();
  }

  /// A run whose script has begun. It is recorded, but has not reported itself.
  HeldRun& start(const char* szShell, std::chrono::seconds limit = NO_LIMIT) {
    m_run.emplace(unit(), szShell);
    m_run->hear();
    m_file.emplace(Json::Int64{0}, Json::Int64{0});
    m_file->noteGroup(unit());
    m_file->noteRun(m_run->pid(), limit);
    return *m_run;
  }

  RunReport report() const { return {m_file->path(), m_run->pid()}; }

  void begin() const { report().begin(m_run->groupName()); }

  /// As the library closes a run, when its process has ended.
  void close() { m_file->noteClosed(m_run->pid()); }

  const RunNotes& notes() const { return m_file->notes().mapRuns.at(m_run->pid()); }

  /// Does something while the file can take no more, as when the file system is full.
  template <typename Action>
  void atLargestFile(const Action& action) {
    std::signal(SIGXFSZ, SIG_IGN);
    rlimit before{};
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit limit{std::filesystem::file_size(m_file->path()), before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &limit);
    action();
    setrlimit(RLIMIT_FSIZE, &before);
  }

  bool isAlive() const { return Process(m_run->pid()).isAlive(); }

  std::optional<HeldRun> m_run;
  std::optional<ExecutionFile> m_file;
};

}  // namespace

TEST_P(RunWatching, TimeLimitEndsTheRun) {
  HeldRun& run = start(LISTENS, LIMIT);
  begin();
  RunWatch watch(*m_file, PATIENT);
  watch.look();
  ASSERT_TRUE(watch.due());
  EXPECT_GT(*watch.due() - RunWatch::Clock::now(), LIMIT - PATIENT);
  HostTest::setClockForward(LIMIT - std::chrono::seconds(5));
  watch.look();
  EXPECT_EQ(notes().strEndedBy, "");
  HostTest::setClockForward(std::chrono::seconds(5));
  watch.look();
  EXPECT_EQ(run.waitEnd(), 128 + SIGTERM);
  EXPECT_EQ(notes().strEndedBy, ENDED_TIME_LIMIT);
  EXPECT_EQ(notes().grace, PATIENT);
  waitUntil([&] { return watch.look(), !watch.due(); });
}

TEST_P(RunWatching, RunWithoutLimitIsNotLookedAt) {
  start(LISTENS);
  begin();
  RunWatch watch(*m_file, PATIENT);
  watch.look();
  HostTest::setClockForward(std::chrono::hours(1000));
  watch.look();
  EXPECT_FALSE(watch.due());
  EXPECT_TRUE(isAlive());
}

TEST_P(RunWatching, LimitOfAClosedRunIsForgotten) {
  start(LISTENS, LIMIT);
  begin();
  RunWatch watch(*m_file, PATIENT);
  watch.look();
  close();
  HostTest::setClockForward(LIMIT - std::chrono::seconds(1));
  watch.look();
  EXPECT_FALSE(watch.due());
  HostTest::setClockForward(LIMIT);
  watch.look();
  EXPECT_EQ(notes().strEndedBy, "");
}

TEST_P(RunWatching, RunThatSomebodyStopsIsEndedWithHisGrace) {
  HeldRun& run = start(DOES_NOT_LISTEN, LIMIT);
  begin();
  RunWatch watch(*m_file, PATIENT);
  watch.look();
  LiveExecution{m_file->path(), {}}.endRun(run.pid(), ENDED_STOPPED, 2 * PATIENT);
  watch.look();
  HostTest::setClockForward(LIMIT / 2);
  watch.look();
  EXPECT_TRUE(isAlive());
  HostTest::setClockForward(PATIENT / 2);
  watch.look();
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  EXPECT_EQ(notes().strEndedBy, ENDED_STOPPED);
}

TEST_P(RunWatching, TimeLimitEndsTheRunAlthoughItCannotBeNoted) {
  HeldRun& run = start(DOES_NOT_LISTEN, LIMIT);
  begin();
  RunWatch watch(*m_file, AT_ONCE);
  watch.look();
  HostTest::setClockForward(LIMIT);
  atLargestFile([&] { watch.look(); });
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  EXPECT_EQ(notes().strEndedBy, "");
}

TEST_P(RunWatching, AllAreEndedAlthoughItCannotBeNoted) {
  HeldRun& run = start(DOES_NOT_LISTEN);
  begin();
  RunWatch watch(*m_file, AT_ONCE);
  watch.look();
  atLargestFile([&] { watch.endAll(ENDED_SHUTDOWN); });
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
}

TEST_P(RunWatching, RunThatHasNotBegunIsEndedWhenItHas) {
  HeldRun& run = start(LISTENS);
  RunWatch watch(*m_file, AT_ONCE);
  m_file->noteEnding(run.pid(), ENDED_STOPPED, AT_ONCE);
  watch.look();
  EXPECT_FALSE(watch.due());
  EXPECT_TRUE(isAlive());
  begin();
  watch.look();
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
}

TEST_P(RunWatching, AllAreEndedAlsoRunsThatBeginLater) {
  HeldRun& run = start(LISTENS);
  begin();
  RunWatch watch(*m_file, PATIENT);
  watch.look();
  watch.endAll(ENDED_BUDGET);
  EXPECT_EQ(run.waitEnd(), 128 + SIGTERM);
  EXPECT_EQ(notes().strEndedBy, ENDED_BUDGET);
  HeldRun later(unit(), LISTENS);
  later.hear();
  RunReport(m_file->path(), later.pid()).begin(later.groupName());
  m_file->noteRun(later.pid(), NO_LIMIT);
  watch.endAll(ENDED_SHUTDOWN);
  EXPECT_EQ(later.waitEnd(), 128 + SIGTERM);
  EXPECT_EQ(m_file->notes().mapRuns.at(later.pid()).strEndedBy, ENDED_BUDGET) << "the first reason stays";
}

TEST_P(RunWatching, ProcessThatHangsAfterItsScriptIsEndedAndItsEndStays) {
  HeldRun& run = start(DOES_NOT_LISTEN, LIMIT);
  begin();
  report().end(0);
  RunWatch watch(*m_file, AT_ONCE);
  watch.look();
  HostTest::setClockForward(LIMIT);
  watch.look();
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  EXPECT_EQ(notes().strEndedBy, "");
  EXPECT_EQ(notes().status, 0);
}

TEST_P(RunWatching, NothingIsDueBetweenTheEndOfAllAndTheNextLine) {
  HeldRun& run = start(DOES_NOT_LISTEN);
  begin();
  RunWatch watch(*m_file, AT_ONCE);
  watch.endAll(ENDED_STOPPED);
  run.waitEnd();
  waitUntil([&] { return watch.look(), !watch.due(); });
  close();
  watch.look();
  EXPECT_FALSE(watch.due());
}

INSTANTIATE_TEST_SUITE_P(Held, RunWatching, HostTest::bothHoldings(), HostTest::holdingName);
