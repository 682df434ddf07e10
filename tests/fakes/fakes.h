/// \file fakes.h
/// The recording platform, and the control of all calls of the library under test.

#pragma once

#include <functional>
#include <json/value.h>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "fakes/call_text.h"
#include "fakes/faults.h"
#include "fakes/journal.h"
#include "fakes/record_table.h"
#include "support/files.h"

namespace OrvaTest {

/// Thrown by a `sleep` of the library to end an endless loop.
struct RunnerStopped : std::runtime_error {
  RunnerStopped() : std::runtime_error("the runner was stopped by the test") {}
};

/// A mail that was handed over.
struct Mail {
  std::string strTemplate;
  std::map<std::string, std::string> values;
  std::string strTo;
};

/// A call that the library made.
struct Call {
  std::string strText;
  pid_t pid;
  bool blPlatform;  ///< false: into the C library or SQLite
};

class Fakes {
public:
  /// Resets to a small healthy server at 2026-01-01 00:00:00 UTC, with no recorded calls and no planned faults.
  void reset();

  /// \name Faults and scripted answers
  /// Name a call by its function ("recCreate"), or by the beginning of its text with the parenthesis
  /// ("recUpdateByFilter(task_result,").
  /// @{

  /// Makes a call fail: with -1, null, or 0 for predicates. System calls set `errno`, by default to EIO.
  Rule& fail(const std::string& strCall, int iOrdinal = 1) { return m_faults.fail(strCall, iOrdinal); }

  /// Makes a call return a result without the real call. jOut is stored in its out value (a string for calls that fill
  /// a buffer).
  Rule& answer(const std::string& strCall, int iResult, const std::optional<Json::Value>& jOut = std::nullopt) {
    return m_faults.answer(strCall, iResult, jOut);
  }

  /// Runs an action just before a call, in the process that makes it. The real call follows, unless the action throws.
  Rule& before(const std::string& strCall, std::function<void()> action) {
    return m_faults.before(strCall, std::move(action));
  }

  /// Fails the n-th call of all that can fail, into the platform, the C library or SQLite.
  Rule& failNthCall(int iOrdinal) { return m_faults.failNthCall(iOrdinal); }

  /// The number of injected faults so far, in this process and its children.
  int faults() const { return m_pJournal->faults(); }
  void clearFaults() { m_faults.clear(); }
  /// @}

  /// \name Recorded calls
  /// @{
  std::vector<std::string> calls() const;        ///< into the platform, by this process
  std::vector<std::string> systemCalls() const;  ///< into the C library and SQLite, by this process
  std::vector<std::string> childCalls() const;   ///< both, by its children
  std::vector<std::string> events() const;       ///< entries of the event log, by all of them
  std::vector<Call> allCalls() const;
  /// The results of calls that returned in a child; see withoutReturn().
  std::vector<int> childReturns() const;
  /// Forgets the calls so far; planned faults, the server's state and the log stay.
  void forgetCalls() { m_cForgotten = m_pJournal->entries().size(); }
  /// @}

  /// \name The record store
  /// @{
  RecordTable& table(const std::string& strName);
  void put(const std::string& strTable, const Json::Value& jRecord) { table(strTable).put(jRecord); }
  Json::Value record(const std::string& strTable, const Json::Value& jKey) { return table(strTable).record(jKey); }
  std::vector<Json::Value> records(const std::string& strTable) { return table(strTable).records(); }
  void keepUnknownMembers() { table("task").keepUnknownMembers(); }
  /// @}

  /// \name The server
  /// @{
  std::map<std::string, std::string> shares;  ///< folder by share; "logs" exists
  std::string strVolume;                      ///< name of the volume with free space; empty for none
  std::string strTmpFolder;                   ///< temporary folder of that volume
  std::map<std::string, Json::Value> texts;   ///< texts by language
  std::set<pid_t> alivePids;                  ///< alive for KLIBCProcAlive(), besides real processes
  std::vector<Mail> mails;                    ///< sent so far
  int iLastError = 0;                         ///< KLIBCErrGet()
  std::string strLastErrorFile;               ///< KLIBCErrorGetFile()
  int iLastErrorLine = 0;                     ///< KLIBCErrorGetLine()
  /// Number of users, lists and hashes that were not freed yet.
  int cHeld = 0;
  /// @}

  /// \name Clock
  /// `time` stands still; `sleep` advances it at once.
  /// @{
  time_t now() const { return m_tNow; }
  void setTime(time_t tNow) { m_tNow = tNow; }
  /// The seconds of each `sleep` so far.
  const std::vector<unsigned int>& sleeps() const { return m_sleeps; }
  /// Sets an action for every `sleep`, with its number from 1. Without an action, `sleep` waits until a child has
  /// ended.
  void onSleep(std::function<void(int iPass)> action) { m_onSleep = std::move(action); }
  /// Ends an endless polling: the n-th `sleep` throws RunnerStopped.
  void stopAfterPasses(int cPasses) { m_iLastPass = cPasses; }
  /// Waits until a child has ended, without reaping it; 0 means any child.
  static void waitForChild(pid_t pid = 0);
  /// @}

  /// \name Simulated children
  /// `fork` gives made-up process ids, in the parent only; `waitpid` and KLIBCProcAlive() know them.
  /// @{

  /// \param jExit  exit information of each child, which ends at once; null: a child runs until endChild().
  void pretendChildren(const Json::Value& jExit = Json::Value());
  /// Writes an exit-code file with this content (none for null), and ends the child.
  void endChild(pid_t pid, const Json::Value& jExit);
  /// Their process ids, in the order of the forks.
  const std::vector<pid_t>& pretendedChildren() const { return m_pretended; }
  /// @}

  /// \name For the fakes themselves
  /// @{
  template <typename... Arguments>
  std::optional<Answer> platformCall(const char* szName, const Arguments&... arguments) {
    return enter(szName, callText(szName, arguments...), true, true);
  }
  template <typename... Arguments>
  std::optional<Answer> systemCall(const char* szName, const Arguments&... arguments) {
    return enter(szName, callText(szName, arguments...), false, true);
  }
  /// Records a call that cannot fail, but can have a scripted answer.
  std::optional<Answer> enter(const std::string& strName, const std::string& strCall, bool blPlatform, bool blCanFail);
  Journal& journal() { return *m_pJournal; }
  void passTime(unsigned int uSeconds);
  bool pretendsChildren() const { return m_blPretends; }
  pid_t pretendFork();
  bool isPretended(pid_t pid) const;
  /// \return the result of `waitpid` with WNOHANG.
  pid_t reapPretended(pid_t pid);
  /// @}

private:
  friend Fakes& fakes();
  Fakes();

  std::vector<std::string> textsOf(bool blPlatform, bool blSystem, bool blChildren) const;

  std::unique_ptr<Journal> m_pJournal;
  Faults m_faults;
  std::map<std::string, RecordTable> m_tables;
  std::unique_ptr<TempDir> m_pFolder;
  time_t m_tNow = 0;
  std::vector<unsigned int> m_sleeps;
  std::function<void(int)> m_onSleep;
  int m_iLastPass = 0;
  bool m_blPretends = false;
  Json::Value m_jPretendedExit;
  std::vector<pid_t> m_pretended;
  std::set<pid_t> m_endedPretended;
  std::set<pid_t> m_reapedPretended;
  pid_t m_pidTest = 0;
  size_t m_cForgotten = 0;  // entries of the journal
};

/// The fakes of this process.
Fakes& fakes();

/// Runs an operation that forks. A child that returns from it reports its result to Fakes::childReturns() and ends
/// here, so that it does not run the rest of the test.
int withoutReturn(const std::function<int()>& operation);

/// Runs an operation repeatedly: the first time its first call fails, then its second, ... until all calls have failed
/// once. Each time, every logged line must have its form, and no child, descriptor or platform object may be left. The
/// test expects only the lines of the last run, which has no fault.
/// \param prepare    prepares the server; the fakes are reset before.
/// \param operation  runs the operation and checks its result; fakes().faults() tells whether a fault was injected.
/// \param blInChild  true: the calls of its children fail instead.
/// \return the number of calls that can fail.
int failEachCall(const std::function<void()>& prepare, const std::function<void()>& operation, bool blInChild = false);

}  // namespace OrvaTest
