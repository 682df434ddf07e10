/// Runs that cannot be ended at once.

#include "common/run_watch.h"

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/failure.h"
#include "common/json_read.h"
#include "common/outcome.h"
#include "run_test.h"
#include "support/files.h"

using namespace Host;

namespace {

class RunWatching : public HostTest::RunTest {
protected:
  /// The watch of the execution that has this one run.
  void look(RunWatch& watch) {
    const ExecutionFile file(Json::Int64{0}, Json::Int64{0});
    OrvaTest::writeFile(file.path(), fmt::format("after 0\n{}\n", m_pid));
    watch.look(file, getpid());
    ASSERT_EQ(watch.processes().count(m_pid), 1U);
  }

  std::string endedBy() {
    Session session;
    return textOf(requireRun(session, 1), "ended_by");
  }

  /// Goes on until the run has ended.
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
    const RunEnd other(Process(m_pid), std::chrono::seconds(60));
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
