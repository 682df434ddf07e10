/// Runs that cannot be ended at once.

#include "common/executions/run_watch.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/runs/outcome.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "run_test.h"
#include "support/files.h"

using namespace Host;

namespace {

class RunWatching : public HostTest::RunTest {
protected:
  /// The watch of an execution with this run.
  void look(RunWatch& watch, pid_t pidExecution = getpid()) {
    const ExecutionFile file(Json::Int64{0}, Json::Int64{0});
    OrvaTest::writeFile(file.path(), fmt::format("after 0\n{}\n", m_pid));
    watch.look(file, pidExecution);
    ASSERT_EQ(watch.processes().count(m_pid), 1U);
  }

  Json::Value record() {
    Session session;
    return requireRun(session, 1);
  }

  std::string endedBy() { return textOf(record(), "ended_by"); }

  /// Continues until the run has ended.
  void finish(RunWatch& watch) {
    while (!watch.step()) {
      usleep(1000);
    }
    int iStatus = -1;
    ASSERT_EQ(waitpid(m_pid, &iStatus, 0), m_pid);
    EXPECT_EQ(iStatus, 0);
  }

  TaskLock m_lock;
};

constexpr std::chrono::seconds AT_ONCE(0);

}  // namespace

TEST_F(RunWatching, RunWhoseScriptHasNotBegunIsEndedWhenItHas) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), AT_ONCE);
  look(watch);
  watch.endAll(ENDED_BUDGET);
  EXPECT_FALSE(watch.isEnding(m_pid));
  EXPECT_EQ(endedBy(), "");
  beginScript();
  watch.endAll(ENDED_BUDGET);
  ASSERT_TRUE(watch.isEnding(m_pid));
  EXPECT_EQ(endedBy(), "budget");
  finish(watch);
}

TEST_F(RunWatching, RunThatSomebodyElseIsEndingIsEndedWhenHeHasGivenUp) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), AT_ONCE);
  look(watch);
  beginScript();
  {
    const RunEnding other(Process(m_pid), std::chrono::seconds(60));
    EXPECT_THROW(watch.endAll(ENDED_BUDGET), Failure);
  }
  watch.endAll(ENDED_BUDGET);
  ASSERT_TRUE(watch.isEnding(m_pid));
  finish(watch);
}

TEST_F(RunWatching, RunThatCouldNotBeEndedIsLeftAloneForAWhile) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), std::chrono::hours(1));
  look(watch);
  watch.endAll(ENDED_BUDGET);
  beginScript();
  watch.endAll(ENDED_BUDGET);
  EXPECT_FALSE(watch.isEnding(m_pid));
}

TEST_F(RunWatching, RecordTellsWhichProcessItsNumberMeansAndGoesOnDoingSoWhenItIsClosed) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), AT_ONCE);
  look(watch);
  std::string strBoot = OrvaTest::readFile("/proc/sys/kernel/random/boot_id");
  strBoot.pop_back();
  const std::uint64_t ticks = processStatus(m_pid).value().ticksStart;
  ASSERT_GT(ticks, 0U);
  EXPECT_EQ(textOf(record(), "boot_id"), strBoot);
  EXPECT_EQ(intOf(record(), "start_ticks"), static_cast<Json::Int64>(ticks));
  // The execution writes this when it closes a run.
  Session session;
  Json::Value jFilter(Json::objectValue);
  jFilter["result_id"] = 1;
  Json::Value jUpdate(Json::objectValue);
  jUpdate["stop_time"] = 2;
  jUpdate["exit_info"] = Json::Value(Json::objectValue);
  ASSERT_EQ(session.runs()->recUpdateByFilter(jFilter, jUpdate), 1);
  EXPECT_TRUE(record().isMember("stop_time"));
  EXPECT_EQ(textOf(record(), "boot_id"), strBoot);
  EXPECT_EQ(intOf(record(), "start_ticks"), static_cast<Json::Int64>(ticks));
}

TEST_F(RunWatching, ProcessThatIsNoChildOfTheExecutionIsNotTheRuns) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), AT_ONCE);
  look(watch, getppid());
  EXPECT_FALSE(record().isMember("boot_id"));
  EXPECT_FALSE(record().isMember("start_ticks"));
}

TEST_F(RunWatching, StoreThatSomebodyWritesToIsLeftToHimUntilTheNextLook) {
  RunWatch watch(m_lock, 0, std::chrono::seconds(60), AT_ONCE);
  {
    Session other;
    const WriteLock lock(other);
    look(watch);
    EXPECT_FALSE(record().isMember("boot_id"));
  }
  look(watch);
  EXPECT_TRUE(record().isMember("boot_id"));
}
