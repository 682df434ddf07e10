/// \file fakes.h
/// The recording platform, and the switchboard of everything that the library under test calls.

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

/// Thrown out of a `sleep` of the library to end a loop that would not end by itself.
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
  bool blPlatform;  ///< else into the C library or SQLite
};

class Fakes {
public:
  /// A small healthy server at 2026-01-01 00:00:00 UTC, with nothing recorded and no fault planned.
  void reset();

  /// \name Faults and scripted answers
  /// A call is named by its name ("recCreate"), or by the beginning of its text with the parenthesis
  /// ("recUpdateByFilter(task_result,").
  /// @{

  /// Makes a call fail in its own manner: -1, null, 0 for the questions. System calls set `errno`, EIO unless told.
  Rule& fail(const std::string& strCall, int iOrdinal = 1) { return m_faults.fail(strCall, iOrdinal); }

  /// Makes a call give a result without doing its work; jOut is what it stores in its out value (a string for the
  /// calls that fill a buffer).
  Rule& answer(const std::string& strCall, int iResult, const std::optional<Json::Value>& jOut = std::nullopt) {
    return m_faults.answer(strCall, iResult, jOut);
  }

  /// Does something just before a call, in the process that makes it; the call then does its work, unless the action
  /// throws.
  Rule& before(const std::string& strCall, std::function<void()> action) {
    return m_faults.before(strCall, std::move(action));
  }

  /// Fails the n-th call of all that can fail, into the platform, the C library or SQLite.
  Rule& failNthCall(int iOrdinal) { return m_faults.failNthCall(iOrdinal); }

  /// How many faults were injected so far, in this process and its children.
  int faults() const { return m_pJournal->faults(); }
  void clearFaults() { m_faults.clear(); }
  /// @}

  /// \name What was called
  /// @{
  std::vector<std::string> calls() const;        ///< into the platform, by this process
  std::vector<std::string> systemCalls() const;  ///< into the C library and SQLite, by this process
  std::vector<std::string> childCalls() const;   ///< both, by its children
  std::vector<std::string> events() const;       ///< entries of the event log, by all of them
  std::vector<Call> allCalls() const;
  /// The results of calls that came back in a child: see withoutReturn().
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
  std::string strVolume;                      ///< name of the volume with room; empty for none
  std::string strTmpFolder;                   ///< temporary folder of that volume
  std::map<std::string, Json::Value> texts;   ///< texts by language
  std::set<pid_t> alivePids;                  ///< alive for KLIBCProcAlive() besides what really is
  std::vector<Mail> mails;                    ///< handed over so far
  int iLastError = 0;                         ///< KLIBCErrGet()
  std::string strLastErrorFile;               ///< KLIBCErrorGetFile()
  int iLastErrorLine = 0;                     ///< KLIBCErrorGetLine()
  /// Users, lists and hashes that were handed out and not freed yet.
  int cHeld = 0;
  /// @}

  /// \name Clock
  /// `time` stands still but for `sleep`, which advances it at once.
  /// @{
  time_t now() const { return m_tNow; }
  void setTime(time_t tNow) { m_tNow = tNow; }
  /// The seconds of each `sleep` so far.
  const std::vector<unsigned int>& sleeps() const { return m_sleeps; }
  /// Called in every `sleep` with its number from 1. Without one, `sleep` waits until some child has ended.
  void onSleep(std::function<void(int iPass)> action) { m_onSleep = std::move(action); }
  /// Ends an endless polling: the n-th `sleep` throws RunnerStopped.
  void stopAfterPasses(int cPasses) { m_iLastPass = cPasses; }
  /// Waits until a child has ended, without reaping it; 0 means any child.
  static void waitForChild(pid_t pid = 0);
  /// @}

  /// \name Pretended children
  /// `fork` gives made-up process ids, in the parent only; `waitpid` and KLIBCProcAlive() know them.
  /// @{

  /// \param jExit  exit information that each child leaves, and ends at once; null: it runs until endChild().
  void pretendChildren(const Json::Value& jExit = Json::Value());
  /// Leaves an exit-code file with that content (none for null) and ends the child.
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
  /// Records a call that cannot fail; it can be answered all the same.
  std::optional<Answer> enter(const std::string& strName, const std::string& strCall, bool blPlatform, bool blCanFail);
  Journal& journal() { return *m_pJournal; }
  void passTime(unsigned int uSeconds);
  bool pretendsChildren() const { return m_blPretends; }
  pid_t pretendFork();
  bool isPretended(pid_t pid) const;
  /// \return as `waitpid` with WNOHANG.
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

/// The one switchboard of the process.
Fakes& fakes();

/// Runs an operation that forks. A child that comes back from it reports its result to Fakes::childReturns() and
/// ends here, so that it does not run the rest of the test.
int withoutReturn(const std::function<int()>& operation);

/// Runs an operation again and again: without its 1st call, its 2nd, ... until no fault is left to inject. Each time,
/// every line that was logged must have its form, and no child, descriptor or platform object may be left. Only the
/// lines of the last time, without a fault, are left to the test to announce.
/// \param prepare    puts the server into its first state; the fakes are reset before it.
/// \param operation  does it, and checks the result; fakes().faults() tells whether a fault was injected.
/// \param blInChild  fails the calls of its children instead of its own.
/// \return the number of calls that can fail.
int failEachCall(const std::function<void()>& prepare, const std::function<void()>& operation, bool blInChild = false);

}  // namespace OrvaTest
