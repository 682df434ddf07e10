/// What the files of executions tell, and whose they are.

#include "common/coordination/execution_file.h"

#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <optional>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "fresh_host.h"
#include "pauses.h"
#include "support/files.h"
#include "support/processes.h"

using namespace Host;
using std::chrono::seconds;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr pid_t PID = 11;

class ExecutionFiles : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    m_file.emplace(Json::Int64{7}, Json::Int64{3});
  }
  void TearDown() override {
    HostTest::insteadOfPausing(nullptr);
    OrvaTest::endChildren();
  }

  /// Writes a part of a line, as it is there while somebody writes.
  void append(const std::string& strText) {
    ASSERT_EQ(write(m_file->fd(), strText.data(), strText.size()), static_cast<ssize_t>(strText.size()));
  }

  const RunNotes& run() {
    m_file->update();
    return m_file->notes().mapRuns.at(PID);
  }

  RunReport report() { return {m_file->path(), PID}; }

  std::optional<ExecutionFile> m_file;
};

}  // namespace

TEST_F(ExecutionFiles, TellAllThatWasNoted) {
  m_file->noteGroup("/sys/fs/cgroup/a b");
  m_file->noteRun(PID, seconds(60));
  report().begin("run-11");
  m_file->noteEnding(PID, "time_limit", seconds(5));
  report().end(256);
  m_file->noteClosed(PID);
  m_file->noteStored();
  m_file->noteInTheWay(9);
  m_file->noteInTheWay(8);
  EXPECT_THAT(m_file->update(), ElementsAre(PID));
  EXPECT_THAT(m_file->update(), IsEmpty());
  for (const ExecutionNotes& notes : {m_file->notes(), liveExecutions().at(0).notes}) {
    EXPECT_EQ(notes.iLastRun, 7);
    EXPECT_EQ(notes.iFiring, 3);
    EXPECT_EQ(notes.strGroup, "/sys/fs/cgroup/a b");
    EXPECT_EQ(notes.groupOf(PID), "/sys/fs/cgroup/a b/run-11");
    EXPECT_THAT(notes.setInTheWay, ElementsAre(8, 9));
    EXPECT_THAT(notes.children(), ElementsAre(PID));
    EXPECT_FALSE(notes.blDone);
    const RunNotes& noted = notes.mapRuns.at(PID);
    EXPECT_EQ(noted.limit, seconds(60));
    EXPECT_TRUE(noted.blBegun);
    EXPECT_EQ(noted.strGroup, "run-11");
    EXPECT_EQ(noted.status, 256);
    EXPECT_EQ(noted.strEndedBy, "time_limit");
    EXPECT_EQ(noted.grace, seconds(5));
    EXPECT_TRUE(noted.blClosed);
  }
  m_file->noteDone();
  EXPECT_THAT(m_file->update(), IsEmpty());
  EXPECT_TRUE(m_file->notes().blDone);
}

TEST_F(ExecutionFiles, NextTryBeginsOrIsStoppedWhateverIsNotedFirst) {
  constexpr Json::Int64 STOPPED = 20;
  constexpr Json::Int64 BEGUN = 21;
  m_file->noteNextTry(STOPPED, {1000, 2, 4});
  m_file->noteNextTry(BEGUN, {2000, 3, 4});
  const LiveExecution execution = liveExecutions().at(0);
  EXPECT_EQ(execution.notes.mapTries.at(BEGUN).iAt, 2000);
  EXPECT_EQ(execution.notes.mapTries.at(BEGUN).iTry, 3);
  EXPECT_EQ(execution.notes.mapTries.at(BEGUN).cTries, 4);
  EXPECT_TRUE(execution.stopTry(STOPPED));
  m_file->noteTryBegun(STOPPED);
  m_file->noteTryBegun(BEGUN);
  EXPECT_FALSE(execution.stopTry(BEGUN));
  EXPECT_FALSE(execution.stopTry(99));
  m_file->update();
  EXPECT_TRUE(m_file->notes().isTryStopped(STOPPED));
  EXPECT_EQ(m_file->notes().mapTries.at(BEGUN).state, TryNotes::State::BEGUN);
}

TEST_F(ExecutionFiles, TellNothingOfARunThatWasOnlyRecorded) {
  m_file->noteRun(PID, seconds(0));
  EXPECT_FALSE(run().blBegun);
  EXPECT_FALSE(run().status);
  EXPECT_EQ(run().strEndedBy, "");
  EXPECT_FALSE(run().blClosed);
  EXPECT_EQ(m_file->notes().groupOf(PID), "");
  EXPECT_EQ(m_file->notes().groupOf(PID + 1), "");
}

TEST_F(ExecutionFiles, RunWithoutAGroupHasNone) {
  m_file->noteGroup("");
  report().begin("");
  EXPECT_TRUE(run().blBegun);
  EXPECT_EQ(m_file->notes().groupOf(PID), "");
}

TEST_F(ExecutionFiles, LineIsTakenWhenItIsComplete) {
  append("run 11 6");
  EXPECT_THAT(m_file->update(), IsEmpty());
  EXPECT_THAT(liveExecutions().at(0).notes.mapRuns, IsEmpty());
  append("0\nbeg");
  EXPECT_THAT(m_file->update(), ElementsAre(PID));
  EXPECT_EQ(run().limit, seconds(60));
  append("in 11 500 run-11\n");
  EXPECT_THAT(m_file->update(), ElementsAre(PID));
  EXPECT_EQ(run().strGroup, "run-11");
  EXPECT_EQ(run().ticksStart, 500U);
}

// The disk may have been full.
TEST_F(ExecutionFiles, LineBehindATornOneIsTaken) {
  append("run 11 60\nend 1");
  m_file->noteEnding(PID, "time_limit", seconds(10));
  m_file->update();
  EXPECT_EQ(run().strEndedBy, "time_limit");
  EXPECT_EQ(m_file->notes().children(), std::set<pid_t>{PID});
}

TEST_F(ExecutionFiles, OtherTextThanLinesWithNumbersMakesNoRun) {
  append("end 6ending 61\nrun 7x 1\nodd 8\nend -3 0\n");
  m_file->update();
  EXPECT_THAT(m_file->notes().children(), IsEmpty());
}

TEST_F(ExecutionFiles, LinesAreTakenWhereverTheBufferEnds) {
  constexpr pid_t RUNS = 2000;
  for (pid_t pid = 1; pid <= RUNS; ++pid) {
    m_file->noteRun(pid, seconds(pid));
  }
  EXPECT_THAT(m_file->update(), SizeIs(RUNS));
  for (pid_t pid = 1; pid <= RUNS; ++pid) {
    EXPECT_EQ(m_file->notes().mapRuns.at(pid).limit, seconds(pid));
  }
}

TEST_F(ExecutionFiles, NonsenseIsNoRun) {
  append("\n\nrun\nrun x 5\nrun -3 5\nrun 0 5\nbegin\nend\nmet\n");
  EXPECT_THAT(m_file->update(), IsEmpty());
  EXPECT_THAT(m_file->notes().mapRuns, IsEmpty());
}

TEST_F(ExecutionFiles, NumberOfAClosedRunCanBeThatOfALaterOne) {
  m_file->noteRun(PID, seconds(60));
  report().begin("run-11");
  m_file->noteEnding(PID, "stopped", seconds(5));
  report().end(0);
  m_file->noteClosed(PID);
  report().begin("run-11-2");
  m_file->noteRun(PID, seconds(30));
  EXPECT_TRUE(run().blBegun);
  EXPECT_EQ(run().strGroup, "run-11-2");
  EXPECT_EQ(run().limit, seconds(30));
  EXPECT_FALSE(run().status);
  EXPECT_EQ(run().strEndedBy, "");
  EXPECT_FALSE(run().blClosed);
}

TEST_F(ExecutionFiles, RunThatHasEndedIsNotEndedEarly) {
  report().begin("");
  report().end(0);
  m_file->noteEnding(PID, "stopped", seconds(5));
  EXPECT_EQ(run().strEndedBy, "");
}

TEST_F(ExecutionFiles, FirstReasonAndItsGraceStay) {
  report().begin("");
  liveExecutions().at(0).endRun(PID, "stopped", seconds(5));
  m_file->noteEnding(PID, "time_limit", seconds(0));
  EXPECT_EQ(run().strEndedBy, "stopped");
  EXPECT_EQ(run().grace, seconds(5));
}

TEST_F(ExecutionFiles, BelongToTheirRunsOnly) {
  m_file->noteRun(PID, seconds(0));
  constexpr Json::Int64 LATER = 8;
  EXPECT_TRUE(executionOf(PID, LATER));
  EXPECT_FALSE(executionOf(PID, LATER - 1)) << "the run is older than the execution";
  EXPECT_FALSE(executionOf(PID + 1, LATER));
  EXPECT_TRUE(executionOfFiring(3));
  EXPECT_FALSE(executionOfFiring(4));
  EXPECT_THAT(childrenOfLiveExecutions(), ElementsAre(PID));
}

/// The kernel gives the id of an ended process again, perhaps to a run of another execution.
TEST_F(ExecutionFiles, NumberThatRunsOfTwoExecutionsHadIsThatOfTheOpenRun) {
  constexpr Json::Int64 RUN = 8;
  m_file->noteRun(PID, seconds(0));
  m_file->noteClosed(PID);
  const ExecutionFile other(Json::Int64{7}, Json::Int64{4});
  other.noteRun(PID, seconds(0));
  EXPECT_EQ(executionOf(PID, RUN).value().strPath, other.path());
  other.noteClosed(PID);
  m_file->noteRun(PID, seconds(0));
  EXPECT_EQ(executionOf(PID, RUN).value().strPath, m_file->path());
}

TEST_F(ExecutionFiles, ExecutionIsAliveForAsLongAsAnyProcessHasItsLock) {
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  const pid_t pid = fork();
  if (pid == 0) {
    char c = 0;
    close(ends[1]);
    _exit(read(ends[0], &c, 1) == 0 ? 0 : 1);
  }
  m_file.reset();
  EXPECT_TRUE(isAnyExecutionAlive());
  EXPECT_THAT(endedExecutions(), IsEmpty());
  close(ends[0]);
  close(ends[1]);
  ASSERT_EQ(waitpid(pid, nullptr, 0), pid);
  EXPECT_FALSE(isAnyExecutionAlive());
  EXPECT_THAT(endedExecutions(), SizeIs(1));
}

TEST_F(ExecutionFiles, ReportOfARunHasNoPartInTheLock) {
  const RunReport open = report();
  m_file.reset();
  EXPECT_FALSE(isAnyExecutionAlive());
}

TEST_F(ExecutionFiles, ReportGoesToTheFileThatIsThere) {
  m_file->remove();
  EXPECT_THROW(report(), Failure);
  std::filesystem::create_symlink("/etc/passwd", m_file->path());
  EXPECT_THROW(report(), Failure);
}

TEST_F(ExecutionFiles, OnlyRootSeesThem) {
  EXPECT_EQ(OrvaTest::fileMode(EXECUTIONS_FOLDER), 0700U);
  EXPECT_EQ(OrvaTest::fileMode(m_file->path()), 0600U);
}

TEST_F(ExecutionFiles, EndedExecutionIsSettledByOneCommand) {
  m_file->noteRun(PID, seconds(60));
  const std::string strPath = m_file->path();
  m_file.reset();
  {
    const std::vector<EndedExecution> vecEnded = endedExecutions();
    ASSERT_THAT(vecEnded, SizeIs(1));
    EXPECT_EQ(vecEnded[0].strPath, strPath);
    EXPECT_EQ(vecEnded[0].notes.mapRuns.at(PID).limit, seconds(60));
    EXPECT_THAT(endedExecutions(), IsEmpty());
    vecEnded[0].forget();
  }
  EXPECT_FALSE(OrvaTest::fileExists(strPath));
  EXPECT_THAT(endedExecutions(), IsEmpty());
}

TEST_F(ExecutionFiles, EndedExecutionIsSettledAlsoBesideReaders) {
  UniqueFd reader(open(m_file->path().c_str(), O_RDONLY | O_CLOEXEC));
  m_file.reset();
  ASSERT_EQ(flock(reader.get(), LOCK_SH | LOCK_NB), 0);
  int cPauses = 0;
  HostTest::insteadOfPausing([&] {
    ++cPauses;
    reader.reset();
    return true;
  });
  EXPECT_THAT(endedExecutions(), SizeIs(1));
  EXPECT_EQ(cPauses, 1);
}

TEST_F(ExecutionFiles, FileThatIsNotLockedYetIsNotAnEndedExecution) {
  m_file->remove();
  m_file.reset();
  OrvaTest::writeFile(std::string(EXECUTIONS_FOLDER) + "/.12-1.5", "after 0\n");
  EXPECT_THAT(endedExecutions(), IsEmpty());
  EXPECT_FALSE(isAnyExecutionAlive());
}
