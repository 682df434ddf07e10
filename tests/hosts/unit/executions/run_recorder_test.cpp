/// What is added to the records of runs. The tests write these records as the library does, and the children of the
/// test are the processes of runs.

#include "common/executions/run_recorder.h"

#include <csignal>
#include <cstdlib>
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <optional>
#include <sys/wait.h>
#include <unistd.h>

#include "orva_platform.h"

#include "common/runs/outcome.h"
#include "common/runs/run_group.h"
#include "common/runs/run_identity.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/control_group.h"
#include "common/support/files.h"
#include "common/text/json_members.h"
#include "held_run.h"
#include "run_holding.h"
#include "support/files.h"
#include "support/processes.h"
#include "wait_until.h"
#include "with_store.h"

using namespace Host;
using HostTest::waitUntil;

namespace {

class RecordingRuns : public HostTest::WithStore<HostTest::RunHolding> {
protected:
  void SetUp() override {
    WithStore::SetUp();
    HostTest::addTask(*m_session, "b", "true", objectOf({{"time_limit", 60}}));
    m_file.emplace(Json::Int64{0}, Json::Int64{0});
    m_file->noteGroup(unit());
    m_lock.emplace();
    m_lock->announce({"a", "b"});
    m_turns.emplace();
    m_recorder.emplace(*m_session, *m_file, *m_lock, *m_turns, m_ends);
    m_recorder->setTasks(listTasks(*m_session));
  }

  void TearDown() override {
    m_recorder.reset();
    OrvaTest::endChildren();
  }

  /// Forks the process of a run, which does this when it is told to, and ends.
  pid_t forkRun(const std::function<void()>& fnRun = [] { ORVARunEnded(0); }) {
    const pid_t pidParent = getpid();
    const pid_t pid = fork();
    if (pid == 0) {
      HostTest::endWith(pidParent);
      m_go.writer.reset();
      readAll(m_go.reader.get(), "the pipe");
      fnRun();
      _exit(0);
    }
    return pid;
  }

  static void startInBackground() { [[maybe_unused]] const int iStatus = std::system("exec sleep 300 &"); }

  /// \return the number of the run.
  Json::Int64 record(pid_t pid, const char* szTask = "a") { return HostTest::addRun(*m_session, szTask, pid); }

  /// Lets all runs go on, and waits for the end of one.
  void finish(pid_t pid) {
    m_go.writer.reset();
    ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
  }

  /// Closes a run. \return its record.
  Json::Value close(Json::Int64 iRun) {
    HostTest::changeRun(*m_session, iRun, objectOf({{"stop_time", 2}, {"exit_info", Json::Value(Json::objectValue)}}));
    return requireRun(*m_session, iRun);
  }

  const ExecutionNotes& notes() {
    m_file->update();
    return m_file->notes();
  }

  bool isAnnounced(const std::string& strTask) { return TaskLock().tryChange({strTask}, {}).has_value(); }

  std::optional<ExecutionFile> m_file;
  std::optional<TaskLock> m_lock;
  std::optional<Turns> m_turns;
  EndReports m_ends;
  std::optional<RunRecorder> m_recorder;
  Pipe m_go;
};

}  // namespace

TEST_P(RecordingRuns, BeginIsRecordedWithTheIdentityOfTheProcessAndNotedWithItsLimit) {
  const pid_t pid = forkRun();
  const Json::Value jRun = requireRun(*m_session, record(pid, "b"));
  const Json::Value jIdentity = identityOf(processStatus(pid).value());
  EXPECT_EQ(jRun["boot_id"], jIdentity["boot_id"]);
  EXPECT_EQ(jRun["start_ticks"], jIdentity["start_ticks"]);
  EXPECT_EQ(notes().mapRuns.at(pid).limit, std::chrono::seconds(60));
  waitUntil([&] { return notes().mapRuns.at(pid).blBegun; });
  EXPECT_EQ(notes().groupOf(pid).empty(), unit().empty());
  EXPECT_TRUE(m_recorder->hasStarted("b"));
  EXPECT_FALSE(m_recorder->hasStarted("a"));
  EXPECT_FALSE(m_recorder->hasEnded("b"));
}

TEST_P(RecordingRuns, EndIsRecordedAsTheShellTold) {
  const pid_t pid = forkRun([] { ORVARunEnded(128 << 8); });
  const Json::Int64 iRun = record(pid);
  finish(pid);
  const std::string strGroup = notes().groupOf(pid);
  const Json::Value jRun = close(iRun);
  EXPECT_EQ(intOf(jRun, "shell_status"), 128 << 8);
  EXPECT_FALSE(jRun.isMember("ended_by"));
  EXPECT_EQ(jRun.isMember("cpu_usec"), !unit().empty());
  EXPECT_TRUE(notes().mapRuns.at(pid).blClosed);
  EXPECT_TRUE(m_recorder->hasEnded("a"));
  EXPECT_FALSE(m_recorder->hasSucceeded("a"));
  EXPECT_FALSE(m_recorder->hasEnded("b"));
  EXPECT_FALSE(!strGroup.empty() && OrvaTest::fileExists(strGroup));
}

TEST_P(RecordingRuns, RunWhoseProcessWasKilledIsRecordedSoAndTheRestOfItIsEnded) {
  const pid_t pid = forkRun([] {
    startInBackground();
    kill(getpid(), SIGKILL);
  });
  const Json::Int64 iRun = record(pid);
  finish(pid);
  const RunGroup group(notes().groupOf(pid), pid);
  EXPECT_FALSE(group.isEmpty());
  const Json::Value jRun = close(iRun);
  EXPECT_EQ(textOf(jRun, "ended_by"), ENDED_KILLED);
  EXPECT_FALSE(jRun.isMember("shell_status"));
  waitUntil([&] { return group.isEmpty(); });
}

TEST_P(RecordingRuns, ReasonForAnEarlyEndIsRecorded) {
  const pid_t pid = forkRun([] { ORVARunEnded(SIGTERM); });
  const Json::Int64 iRun = record(pid);
  m_file->noteEnding(pid, ENDED_TIME_LIMIT, std::chrono::seconds(0));
  finish(pid);
  const Json::Value jRun = close(iRun);
  EXPECT_EQ(textOf(jRun, "ended_by"), ENDED_TIME_LIMIT);
  EXPECT_EQ(intOf(jRun, "shell_status"), SIGTERM);
}

TEST_P(RecordingRuns, BackgroundProcessesKeepTheGroup) {
  const pid_t pid = forkRun([] {
    startInBackground();
    ORVARunEnded(0);
  });
  const Json::Int64 iRun = record(pid);
  finish(pid);
  const RunGroup group(notes().groupOf(pid), pid);
  EXPECT_FALSE(close(iRun).isMember("ended_by"));
  EXPECT_FALSE(group.isEmpty());
  waitUntil([&] { return group.kill(), group.isEmpty(); });
}

TEST_P(RecordingRuns, RunThatCouldNotBeRecordedIsNotTakenForAnother) {
  const pid_t pid = forkRun([] { ORVARunEnded(4 << 8); });
  const Json::Int64 iRun = record(pid);
  const pid_t pidLost = forkRun([] { ORVARunEnded(5 << 8); });
  EXPECT_THROW(record(pidLost, "no such task"), std::runtime_error);
  const pid_t pidLater = forkRun([] { ORVARunEnded(6 << 8); });
  const Json::Int64 iLater = record(pidLater, "b");
  finish(pid);
  finish(pidLost);
  finish(pidLater);
  EXPECT_EQ(intOf(close(iRun), "shell_status"), 4 << 8);
  EXPECT_EQ(intOf(close(iLater), "shell_status"), 6 << 8);
  EXPECT_TRUE(notes().mapRuns.at(pid).blClosed);
  EXPECT_FALSE(notes().mapRuns.at(pidLost).blClosed);
}

TEST_P(RecordingRuns, RunThatCouldNotBeRecordedIsEnded) {
  const pid_t pid = forkRun([] { sleep(300); });
  EXPECT_THROW(record(pid, "no such task"), std::runtime_error);
  m_recorder.reset();
  int iStatus = 0;
  waitUntil([&] { return waitpid(pid, &iStatus, WNOHANG) == pid; });
  EXPECT_EQ(iStatus, SIGKILL);
}

TEST_P(RecordingRuns, WaitingEndsWithAChildAndWithTheTurns) {
  m_turns->takeToStart(*m_session, {"b"});
  const pid_t pid = forkRun();
  record(pid);
  EXPECT_TRUE(isAnnounced("a"));
  m_go.writer.reset();
  ORVARunWait();
  EXPECT_EQ(waitpid(pid, nullptr, 0), pid);
  EXPECT_FALSE(isAnnounced("a")) << "its open run protects it";
  EXPECT_TRUE(isAnnounced("b"));
  EXPECT_TRUE(TaskLock().takeTurn({"b"}, {}));
}

TEST_P(RecordingRuns, TurnIsHeldWhileARunIsClosed) {
  const pid_t pid = forkRun();
  const Json::Int64 iRun = record(pid);
  finish(pid);
  close(iRun);
  EXPECT_FALSE(TaskLock().takeTurn({"a"}, {}));
  EXPECT_TRUE(TaskLock().takeTurn({"b"}, {}));
}

TEST_P(RecordingRuns, RunHasNoPartInTheLocksOfItsExecution) {
  m_turns->takeToStart(*m_session, {"b"});
  const pid_t pid = forkRun();
  record(pid, "b");
  waitUntil([&] { return notes().mapRuns.count(pid) > 0 && notes().mapRuns.at(pid).blBegun; });
  m_recorder.reset();
  m_file.reset();
  m_lock.reset();
  m_turns.reset();
  EXPECT_FALSE(isAnyExecutionAlive());
  EXPECT_FALSE(isAnnounced("a"));
  EXPECT_TRUE(TaskLock().takeTurn({"b"}, {}));
}

TEST_P(RecordingRuns, RunThatIsNeverRecordedDoesNotStartItsScript) {
  const pid_t pid = forkRun([] { _exit(1); });
  ORVARunWait();
  int iStatus = -1;
  EXPECT_EQ(waitpid(pid, &iStatus, 0), pid);
  EXPECT_EQ(iStatus, 0);
  m_ends.collect(*m_file);
  EXPECT_EQ(notes().mapRuns.at(pid).status, -1);
}

INSTANTIATE_TEST_SUITE_P(Held, RecordingRuns, HostTest::bothHoldings(), HostTest::holdingName);
