/// \file execution_file.h
/// The files in which running executions list their children.
///
/// Every execution keeps a file in /run/eorva/executions locked for its lifetime. Each of its children first writes its
/// process id there. So an interrupted run can be distinguished from a run that its execution is about to close, and
/// the processes of one execution from those of another.

#pragma once

#include <json/value.h>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>

#include "common/support/unique_fd.h"

namespace Host {

/// The content of a file.
struct ExecutionReport {
  std::set<pid_t> setChildren;        ///< those that have reported so far
  std::set<Json::Int64> setInTheWay;  ///< open runs that kept it from starting their tasks
};

class ExecutionFile {
public:
  /// Creates and locks the file.
  /// \param iLastResult  the last run before the execution.
  /// \param iFiring      the recorded firing of the event; 0 for none.
  /// \throw Failure
  ExecutionFile(Json::Int64 iLastResult, Json::Int64 iFiring);

  /// For a child: shares the file of the descriptor that it got.
  ExecutionFile(std::string strPath, int fd) : m_strPath(std::move(strPath)), m_fd(fd) {}

  const std::string& path() const { return m_strPath; }

  ExecutionFile(const ExecutionFile&) = delete;
  ExecutionFile& operator=(const ExecutionFile&) = delete;

  /// The locked descriptor, for the process of the execution: the lock lasts until both are closed.
  int fd() const { return m_fd.get(); }

  /// Removes the file at the end of the execution. A file that stays is unlocked, and the next reader removes
  /// it.
  void remove();

  /// The children that have reported so far.
  std::set<pid_t> children() const;

  /// Records that the execution has taken turns, for the process that watches it.
  /// \throw Failure
  void noteTurns() const;

  /// How often noteTurns() was called.
  unsigned turns() const;

  /// Records that a task is not started because this run of it is open. \throw Failure
  void noteInTheWay(Json::Int64 iResult) const;

  ExecutionReport report() const;

private:
  void append(const std::string& strLine) const;

  std::string m_strPath;
  UniqueFd m_fd;
};

/// Tells whether a run record with this process id can belong to a running execution. Nothing when no running execution
/// has such a child.
std::optional<bool> isOfLiveExecution(pid_t pid, Json::Int64 iResult);

/// The report of the execution of this firing; nothing when it has ended.
std::optional<ExecutionReport> reportOfFiring(Json::Int64 iFiring);

/// Tells whether any execution is running. It may write to the store until it ends, also when all its runs are
/// closed.
bool isAnyExecutionAlive();

/// The children of all running executions. Removes the files of executions that have ended.
std::set<pid_t> childrenOfLiveExecutions();

}  // namespace Host
