/// What is left of a killed execution: its runs are ended, and closed with their true end.

#include <csignal>
#include <filesystem>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <optional>
#include <unistd.h>
#include <vector>

#include "orva_platform.h"

#include "common/coordination/execution_file.h"
#include "common/runs/outcome.h"
#include "common/runs/reconcile.h"
#include "common/runs/settlement.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/paths.h"
#include "common/support/process.h"
#include "common/text/json_members.h"
#include "held_run.h"
#include "run_holding.h"
#include "support/files.h"
#include "wait_until.h"
#include "with_store.h"

using namespace Host;
using HostTest::HeldRun;
using testing::IsEmpty;
using testing::SizeIs;

namespace {

constexpr std::chrono::seconds NO_LIMIT(0);

/// Larger than any number of a process.
constexpr pid_t NO_PROCESS = 5'000'000;

class TrueEnd : public HostTest::WithStore<testing::Test> {
protected:
  /// A run that its process has reported to end so.
  void addEnd(std::optional<int> status, const std::string& strEndedBy = "") {
    const pid_t pid = NO_PROCESS + static_cast<pid_t>(m_notes.mapRuns.size());
    m_notes.mapRuns[pid].status = status;
    m_notes.mapRuns[pid].strEndedBy = strEndedBy;
    HostTest::addRun(*m_session, "a", pid);
  }

  std::vector<Json::Value> close() { return closeRuns(*m_session, m_notes, "/run/eorva/executions/it"); }

  ExecutionNotes m_notes;
};

Json::Value exitInfo(const char* szType, int iCode) {
  return objectOf({{"exit_type", szType}, {"exit_code", iCode}});
}

/// As the library records it: it reads the exit status of the shell as a wait status again.
Json::Value infoOfExit(int iExit) {
  switch (iExit) {
    case 0:
    case 128:
      return exitInfo("normal", 0);
    case 127:
      return exitInfo("stop", 0);
    case 255:
      return exitInfo("normal", 255);
    default:
      return exitInfo("by_signal", iExit % 128);
  }
}

}  // namespace

TEST_F(TrueEnd, IsRecordedForEachExitStatus) {
  for (int iExit = 0; iExit < 256; ++iExit) {
    addEnd(iExit << 8);
  }
  const std::vector<Json::Value> vecRuns = close();
  ASSERT_THAT(vecRuns, SizeIs(256));
  for (const Json::Value& jRun : vecRuns) {
    const int iExit = pidOf(jRun) - NO_PROCESS;
    EXPECT_EQ(jRun["exit_info"], infoOfExit(iExit)) << iExit;
    EXPECT_EQ(jRun["shell_status"], iExit << 8);
    EXPECT_FALSE(jRun.isMember("ended_by"));
    EXPECT_EQ(requireRun(*m_session, intOf(jRun, "result_id")), jRun);
  }
}

TEST_F(TrueEnd, IsRecordedForEachSignalThatEndsTheShellAlsoWithACoreDump) {
  constexpr int CORE = 0x80;
  constexpr int SIGNALS = 64;
  for (int iSignal = 1; iSignal <= SIGNALS; ++iSignal) {
    addEnd(iSignal);
    addEnd(iSignal | CORE);
  }
  const std::vector<Json::Value> vecRuns = close();
  ASSERT_THAT(vecRuns, SizeIs(2 * SIGNALS));
  for (const Json::Value& jRun : vecRuns) {
    const int iSignal = (pidOf(jRun) - NO_PROCESS) / 2 + 1;
    EXPECT_EQ(jRun["exit_info"], exitInfo("by_signal", iSignal));
    EXPECT_EQ(intOf(jRun, "shell_status") & ~CORE, iSignal);
  }
}

TEST_F(TrueEnd, OfAScriptThatWasNotStartedIsRecordedToo) {
  addEnd(-1);
  const std::vector<Json::Value> vecRuns = close();
  ASSERT_THAT(vecRuns, SizeIs(1));
  EXPECT_EQ(intOf(vecRuns[0], "shell_status"), -1);
  EXPECT_EQ(vecRuns[0]["exit_info"], exitInfo("normal", 0));
}

TEST_F(TrueEnd, ThatIsUnknownIsAnInterruption) {
  addEnd(std::nullopt);
  addEnd(std::nullopt, ENDED_BUDGET);
  addEnd(15, ENDED_TIME_LIMIT);
  const std::vector<Json::Value> vecRuns = close();
  ASSERT_THAT(vecRuns, SizeIs(3));
  EXPECT_EQ(textOf(vecRuns[0]["exit_info"], "exit_type"), EXIT_INTERRUPTED);
  EXPECT_FALSE(vecRuns[0].isMember("shell_status"));
  EXPECT_FALSE(vecRuns[0].isMember("ended_by"));
  EXPECT_EQ(textOf(vecRuns[1], "ended_by"), ENDED_BUDGET);
  EXPECT_EQ(textOf(vecRuns[2], "ended_by"), ENDED_TIME_LIMIT);
}

TEST_F(TrueEnd, IsThatOfTheTaskWhenItIsItsNewestRun) {
  const Json::Value jFilter = objectOf({{"task_name", "a"}});
  addEnd(3 << 8);
  const Json::Value jRun = requireRun(*m_session, 1);
  Json::Value jTask = requireTask(*m_session, "a");
  jTask["last_start_time"] = jRun["start_time"];
  jTask["last_stop_time"] = 0;
  ASSERT_EQ(m_session->tasks()->recUpdateByFilter(jFilter, jTask), 1);
  const std::vector<Json::Value> vecRuns = close();
  jTask = requireTask(*m_session, "a");
  EXPECT_EQ(jTask["last_exit_info"], exitInfo("by_signal", 3));
  EXPECT_EQ(jTask["last_stop_time"], vecRuns.at(0)["stop_time"]);
}

TEST_F(TrueEnd, RunsThatAreNotOfTheExecutionAreLeftAlone) {
  HostTest::addRun(*m_session, "a", NO_PROCESS);
  m_notes.iLastRun = 1;
  addEnd(0);
  HostTest::addRun(*m_session, "a", NO_PROCESS + 1);
  HostTest::changeRun(*m_session, 2, objectOf({{"boot_id", "another"}, {"start_ticks", 1}}));
  EXPECT_THAT(close(), IsEmpty());
}

TEST_F(TrueEnd, RunOfALivingExecutionThatGotTheNumberIsLeftToIt) {
  addEnd(0);
  ExecutionFile other(Json::Int64{0}, Json::Int64{0});
  other.noteRun(NO_PROCESS, NO_LIMIT);
  EXPECT_THAT(close(), IsEmpty());
  other.remove();
  EXPECT_THAT(close(), SizeIs(1));
}

/// Its watch may be killed after the settlement of others has begun.
TEST_F(TrueEnd, OfARunWhoseExecutionIsKilledMeanwhileIsNotLost) {
  std::optional<ExecutionFile> file(std::in_place, Json::Int64{0}, Json::Int64{0});
  file->noteRun(NO_PROCESS, NO_LIMIT);
  file->noteEnd(NO_PROCESS, 4 << 8);
  HostTest::addRun(*m_session, "a", NO_PROCESS);
  ExecutionFile(Json::Int64{0}, Json::Int64{0}).noteRun(NO_PROCESS + 1, NO_LIMIT);
  HostTest::addRun(*m_session, "a", NO_PROCESS + 1);
  ORVAStoreOnWrite([](void* pFile, OrvaJsonDbApi*, const Json::Value*,
                      Json::Value*) { static_cast<std::optional<ExecutionFile>*>(pFile)->reset(); },
                   &file);
  EXPECT_THAT(reconcile(*m_session), SizeIs(1));
  ORVAStoreOnWrite(nullptr, nullptr);
  ASSERT_FALSE(file);
  const std::vector<Json::Value> vecRuns = reconcile(*m_session);
  ASSERT_THAT(vecRuns, SizeIs(1));
  EXPECT_EQ(intOf(vecRuns[0], "shell_status"), 4 << 8);
}

TEST_F(TrueEnd, FileWithTheExitStatusGoesUnlessItsNumberIsThatOfALivingProcess) {
  const std::string strGone = fmt::format("{}{}", EXIT_CODE_PREFIX, NO_PROCESS);
  const std::string strUsed = fmt::format("{}{}", EXIT_CODE_PREFIX, getpid());
  OrvaTest::writeFile(strGone, "{}");
  OrvaTest::writeFile(strUsed, "{}");
  addEnd(0);
  m_notes.mapRuns[getpid()].status = 0;
  HostTest::addRun(*m_session, "a", getpid());
  EXPECT_THAT(close(), SizeIs(2));
  EXPECT_FALSE(OrvaTest::fileExists(strGone));
  EXPECT_TRUE(OrvaTest::fileExists(strUsed));
}

namespace {

class KilledExecution : public HostTest::WithStore<HostTest::RunHolding> {
protected:
  /// The lines of an execution whose lock is gone.
  /// \param status  what the process of the run has reported.
  void leave(const HeldRun& run, std::optional<int> status, bool blClosed = false) {
    const ExecutionFile file(Json::Int64{0}, Json::Int64{0});
    m_strFile = file.path();
    file.noteGroup(unit());
    file.noteRun(run.pid(), NO_LIMIT);
    const RunReport report(file.path(), run.pid());
    report.begin(run.groupName());
    if (status) {
      report.end(*status);
    }
    if (blClosed) {
      file.noteClosed(run.pid());
    } else {
      HostTest::addRun(*m_session, "a", run.pid());
    }
  }

  bool isSettled() const { return !OrvaTest::fileExists(m_strFile); }

  std::string m_strFile;
};

}  // namespace

TEST_P(KilledExecution, RunThatHasNotReportedItsEndIsKilledAndInterrupted) {
  HeldRun run(unit(), "echo; exec sleep 300");
  run.hear();
  leave(run, std::nullopt);
  const std::vector<Json::Value> vecRuns = reconcile(*m_session);
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  ASSERT_THAT(vecRuns, SizeIs(1));
  EXPECT_EQ(textOf(vecRuns[0]["exit_info"], "exit_type"), EXIT_INTERRUPTED);
  EXPECT_FALSE(vecRuns[0].isMember("shell_status"));
  EXPECT_TRUE(isSettled());
}

TEST_P(KilledExecution, ExitCodeOfARunGoesThoughTheRunWasNotRecordedYet) {
  HeldRun run(unit(), "echo; exec sleep 300");
  run.hear();
  leave(run, std::nullopt);
  ASSERT_GE(m_session->runs()->recDelete(objectOf({{"result_id", 1}}), true), 0);
  const std::string strPath = fmt::format("{}{}", EXIT_CODE_PREFIX, run.pid());
  OrvaTest::writeFile(strPath, "");
  OrvaTest::writeFile(strPath + ".AbCdEf", "");
  reconcile(*m_session);
  EXPECT_FALSE(OrvaTest::fileExists(strPath));
  EXPECT_FALSE(OrvaTest::fileExists(strPath + ".AbCdEf"));
}

TEST_P(KilledExecution, RunThatHasReportedItsEndLeavesNoExitCodeWhenItsProcessEnds) {
  HeldRun run(unit(), "sleep 300 & echo $!; read go");
  const Process background(std::stoi(run.hear()));
  leave(run, 4 << 8);
  const std::string strPath = fmt::format("{}{}", EXIT_CODE_PREFIX, run.pid());
  OrvaTest::writeFile(strPath, "{}");
  EXPECT_THAT(reconcile(*m_session), SizeIs(1));
  EXPECT_FALSE(OrvaTest::fileExists(strPath));
  EXPECT_EQ(run.waitEnd(), 128 + SIGKILL);
  EXPECT_TRUE(background.isAlive());
}

TEST_P(KilledExecution, BackgroundProcessesOfAScriptThatEndedInOrderStay) {
  HeldRun run(unit(), "sleep 300 & echo $!; exit 4");
  const Process background(std::stoi(run.hear()));
  EXPECT_EQ(run.waitEnd(), 4);
  leave(run, 4 << 8);
  const std::vector<Json::Value> vecRuns = reconcile(*m_session);
  ASSERT_THAT(vecRuns, SizeIs(1));
  EXPECT_EQ(intOf(vecRuns[0], "shell_status"), 4 << 8);
  EXPECT_TRUE(background.isAlive());
  // Somebody has to remove the group later.
  EXPECT_EQ(isSettled(), unit().empty());
  run.group().kill();
  reconcile(*m_session);
  HostTest::waitUntil([&] { return reconcile(*m_session), isSettled(); });
  EXPECT_EQ(std::filesystem::exists(unit()), false);
}

/// A group would tell them apart.
TEST_P(KilledExecution, ProcessThatGotTheNumberOfAClosedRunIsLeftAlone) {
  HeldRun other("", "echo; read go; exit 6");
  other.hear();
  leave(other, std::nullopt, true);
  EXPECT_THAT(reconcile(*m_session), IsEmpty());
  EXPECT_TRUE(Process(other.pid()).isAlive());
  other.tell();
  EXPECT_EQ(other.waitEnd(), 6);
}

INSTANTIATE_TEST_SUITE_P(Held, KilledExecution, HostTest::bothHoldings(), HostTest::holdingName);
