/// How runs ended, from their records: in C++ and in SQL.

#include "common/runs/outcome.h"

#include <gtest/gtest.h>
#include <set>
#include <sqlite3.h>
#include <sys/wait.h>

#include "common/runs/script_end.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/text/json_members.h"
#include "fresh_host.h"

using namespace Host;
using Kind = Outcome::Kind;

namespace {

/// What the library records: it decodes the status of the shell, and the exit status in it once more.
Json::Value exitInfo(int iStatus) {
  Json::Value jExit(Json::objectValue);
  getExitStatus(iStatus, jExit);
  getExitStatus(static_cast<int>(intOf(jExit, "exit_code")), jExit);
  return jExit;
}

/// Every way in which a script ends: an exit status, a signal to its shell, not at all.
std::set<int> statuses() {
  std::set<int> setStatuses = {-1};
  for (int iExit = 0; iExit <= 255; ++iExit) {
    setStatuses.insert(W_EXITCODE(iExit, 0));
  }
  for (int iSignal = 1; iSignal <= SIGRTMAX; ++iSignal) {
    setStatuses.insert({W_EXITCODE(0, iSignal), W_EXITCODE(0, iSignal) | WCOREFLAG});
  }
  return setStatuses;
}

constexpr const char* EARLY[] = {"",           ENDED_STOPPED, ENDED_TIME_LIMIT, ENDED_BUDGET, ENDED_SHUTDOWN,
                                 ENDED_KILLED, "else"};

/// The record of an ended run.
Json::Value recordOf(int iStatus, const std::string& strEndedBy, bool blKnown) {
  Json::Value jRun = objectOf({{"task_name", "a"}, {"start_time", 1}, {"stop_time", 2}});
  jRun["exit_info"] = exitInfo(iStatus);
  if (blKnown) {
    jRun["shell_status"] = iStatus;
  }
  if (!strEndedBy.empty()) {
    jRun["ended_by"] = strEndedBy;
  }
  return jRun;
}

Outcome outcomeOf(int iStatus, const char* szEndedBy = "") {
  return Host::outcomeOf(recordOf(iStatus, szEndedBy, true));
}

/// The outcome of a run whose record only has what the library writes.
Outcome recorded(int iStatus, const char* szEndedBy = "") {
  return Host::outcomeOf(recordOf(iStatus, szEndedBy, false));
}

constexpr int exitOf(int iExit) {
  return W_EXITCODE(iExit, 0);
}

}  // namespace

TEST(Outcomes, FollowTheScript) {
  EXPECT_EQ(outcomeOf(exitOf(0)).strText, "exit 0");
  EXPECT_EQ(outcomeOf(exitOf(4)).strText, "exit 4");
  EXPECT_EQ(outcomeOf(exitOf(126)).strText, "exit 126 (not executable)");
  EXPECT_EQ(outcomeOf(exitOf(127)).strText, "exit 127 (not found)");
  EXPECT_EQ(outcomeOf(exitOf(128)).strText, "exit 128");
  EXPECT_EQ(outcomeOf(exitOf(129)).strText, "killed by SIGHUP");
  EXPECT_EQ(outcomeOf(exitOf(137)).strText, "killed by SIGKILL");
  EXPECT_EQ(outcomeOf(exitOf(160)).strText, "exit 160");
  EXPECT_EQ(outcomeOf(exitOf(255)).strText, "exit 255");
  EXPECT_EQ(outcomeOf(SIGKILL).strText, "killed by SIGKILL");
  EXPECT_EQ(outcomeOf(SIGSEGV | WCOREFLAG).strText, "killed by SIGSEGV");
  EXPECT_EQ(outcomeOf(32).strText, "killed by signal 32");
  EXPECT_EQ(outcomeOf(-1).strText, "could not start");
  EXPECT_EQ(outcomeOf(exitOf(137)).strExplanation, "killed by SIGKILL, which shells report as exit 137");
}

TEST(Outcomes, AreAsRecordedWithoutTheStatusOfTheShell) {
  EXPECT_EQ(recorded(exitOf(0)).strText, "exit 0");
  EXPECT_EQ(recorded(exitOf(128)).strText, "exit 0");
  EXPECT_EQ(recorded(exitOf(128)).strExplanation, "exit 0 or exit 128: the record does not tell which");
  for (const int iStatus : {exitOf(3), exitOf(131), 3}) {
    EXPECT_EQ(recorded(iStatus).strText, "exit or signal 3");
    EXPECT_EQ(recorded(iStatus).strExplanation,
              "exit 3, exit 131 or signal 3 (SIGQUIT): the record does not tell which");
  }
  EXPECT_EQ(recorded(exitOf(100)).strText, "exit 100 or 228");
  EXPECT_EQ(recorded(exitOf(127)).strText, "exit 127 (not found)");
  EXPECT_EQ(recorded(exitOf(255)).strText, "exit 255");
  Json::Value jRun = recordOf(0, "", false);
  jRun["exit_info"] = Json::Value(Json::objectValue);
  EXPECT_EQ(Host::outcomeOf(jRun).strText, "unknown");
  jRun["exit_info"]["exit_type"] = EXIT_INTERRUPTED;
  EXPECT_EQ(Host::outcomeOf(jRun).strText, "interrupted");
  jRun["shell_status"] = exitOf(5);
  EXPECT_EQ(Host::outcomeOf(jRun).strText, "exit 5");
}

TEST(Outcomes, OfRunsThatEndedEarlyAreTheReason) {
  for (const int iStatus : statuses()) {
    for (const auto& of : {&outcomeOf, &recorded}) {
      EXPECT_EQ(of(iStatus, ENDED_STOPPED).strText, "stopped");
      EXPECT_EQ(of(iStatus, ENDED_TIME_LIMIT).strText, "time limit");
      EXPECT_EQ(of(iStatus, ENDED_BUDGET).strText, "out of time");
      EXPECT_EQ(of(iStatus, ENDED_SHUTDOWN).strText, "shutdown");
      EXPECT_EQ(of(iStatus, ENDED_KILLED).strText, "killed");
      EXPECT_EQ(of(iStatus, "else").strText, "stopped");
    }
  }
  EXPECT_EQ(outcomeOf(exitOf(7), ENDED_TIME_LIMIT).strExplanation, "ended at the time limit of its task; exit 7");
  Json::Value jRun = recordOf(0, ENDED_KILLED, false);
  jRun["exit_info"] = Json::Value(Json::objectValue);
  EXPECT_EQ(Host::outcomeOf(jRun).strExplanation, "the process of the run was killed by its owner or by the system");
}

TEST(Outcomes, AreOkOnlyForExitZero) {
  for (const int iStatus : statuses()) {
    for (const char* szEndedBy : EARLY) {
      const bool blEarly = *szEndedBy != '\0';
      EXPECT_EQ(outcomeOf(iStatus, szEndedBy).kind, iStatus == 0 && !blEarly ? Kind::OK : Kind::FAILED)
          << iStatus << szEndedBy;
      // A record alone cannot tell these from exit 0.
      const bool blZero = iStatus == 0 || iStatus == exitOf(128) || iStatus == -1;
      EXPECT_EQ(recorded(iStatus, szEndedBy).kind, blZero && !blEarly ? Kind::OK : Kind::FAILED)
          << iStatus << szEndedBy;
    }
  }
}

TEST(Outcomes, OfATaskAreThoseOfItsNewestRun) {
  Json::Value jTask = objectOf({{"last_start_time", 1}, {"last_stop_time", 2}, {"last_exit_info", exitInfo(0)}});
  EXPECT_EQ(lastOutcomeOf(jTask, recordOf(exitOf(128), "", true)).strText, "exit 128");
  EXPECT_EQ(lastOutcomeOf(jTask, {}).strText, "exit 0") << "the record was removed";
  jTask["last_start_time"] = 5;
  jTask["last_stop_time"] = 0;
  EXPECT_EQ(lastOutcomeOf(jTask, recordOf(exitOf(4), "", true)).strText, "running") << "the new run has no record yet";
}

namespace {

class OutcomesInTheStore : public testing::Test {
protected:
  void SetUp() override {
    HostTest::freshHost();
    Session session(Session::Store::CREATE);
    WriteLock lock(session);
    create(session.tasks(), objectOf({{"task_name", "a"}, {"event", "e"}, {"owner", 0}, {"operation", "true"}}));
    for (const int iStatus : statuses()) {
      for (const char* szEndedBy : EARLY) {
        create(session.runs(), recordOf(iStatus, szEndedBy, true));
        create(session.runs(), recordOf(iStatus, szEndedBy, false));
      }
    }
    create(session.runs(), objectOf({{"task_name", "a"}, {"shell_status", 0}}));
    lock.commit();
    addEditedRuns(session);
  }

  static void create(OrvaJsonDbApi* pApi, const Json::Value& jRec) {
    Json::Value jOut;
    ASSERT_EQ(pApi->recCreate(jRec, jOut), 0);
  }

  /// Somebody can edit the database by hand.
  static void addEditedRuns(Session& session) {
    const char* const EXIT_INFOS[] = {"'no JSON'",
                                      "null",
                                      "'null'",
                                      "'[]'",
                                      "'{}'",
                                      R"('{"exit_type":"normal"}')",
                                      R"('{"exit_code":false,"exit_type":"normal"}')",
                                      R"('{"exit_code":0.0,"exit_type":"normal"}')",
                                      R"('{"exit_code":0.5,"exit_type":"normal"}')",
                                      R"('{"exit_code":"0","exit_type":"normal"}')",
                                      R"('{"exit_code":null,"exit_type":"normal"}')",
                                      R"('{"exit_code":-1,"exit_type":"normal"}')",
                                      R"('{"exit_code":0,"exit_type":["normal"]}')"};
    for (const char* szExitInfo : EXIT_INFOS) {
      for (const char* szStatus : {"null", "0", "255", "127", "128", "65536", "4294967296", "-256", "-2"}) {
        for (const char* szEndedBy : {"null", "''", "'stopped'"}) {
          const std::string strSql =
              std::string(
                  "insert into task_result (task_name, stop_time, exit_info, shell_status, ended_by) values "
                  "('a', 2, ") +
              szExitInfo + ", " + szStatus + ", " + szEndedBy + ")";
          ASSERT_EQ(sqlite3_exec(session.db(), strSql.c_str(), nullptr, nullptr, nullptr), SQLITE_OK) << strSql;
        }
      }
    }
  }

  static std::set<Json::Int64> numbersOf(const Json::Value& jRuns) {
    std::set<Json::Int64> setNumbers;
    for (const Json::Value& jRun : jRuns) {
      setNumbers.insert(intOf(jRun, "result_id"));
    }
    return setNumbers;
  }
};

}  // namespace

TEST_F(OutcomesInTheStore, AreFoundAsTheyAreShown) {
  Session session;
  std::map<Kind, std::set<Json::Int64>> mapShown;
  for (const Json::Value& jRun : listRuns(session, "1")) {
    mapShown[Host::outcomeOf(jRun).kind].insert(intOf(jRun, "result_id"));
  }
  for (const Kind kind : {Kind::OK, Kind::FAILED, Kind::RUNNING}) {
    EXPECT_FALSE(mapShown[kind].empty());
    EXPECT_EQ(mapShown[kind], numbersOf(listRuns(session, whereOutcome(kind)))) << outcomeWord(kind);
  }
}
