/// \file execution_file.h
/// What executions under way tell other processes: which children are theirs.
///
/// Every execution has a file under /run/eorva/executions that it keeps locked for as long as it lives; each
/// of its children adds its process id as the first thing it does. So a run whose process is gone can be told
/// from one that its execution is just about to close, and the processes of one execution from those of another.

#pragma once

#include <json/value.h>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>

#include "common/support/unique_fd.h"

namespace Host {

/// What an execution tells.
struct ExecutionReport {
  std::set<pid_t> setChildren;        ///< those that have reported so far
  std::set<Json::Int64> setInTheWay;  ///< runs that it met when it was about to start their tasks once more
};

class ExecutionFile {
public:
  /// Creates and locks the file.
  /// \param iLastResult  runs up to this one are no runs of the execution.
  /// \param iFiring      what is remembered of the event; 0 for none.
  /// \throw Failure when that is impossible.
  ExecutionFile(Json::Int64 iLastResult, Json::Int64 iFiring);

  /// The file that another process has created, for a child that got its descriptor.
  ExecutionFile(std::string strPath, int fd) : m_strPath(std::move(strPath)), m_fd(fd) {}

  const std::string& path() const { return m_strPath; }

  ExecutionFile(const ExecutionFile&) = delete;
  ExecutionFile& operator=(const ExecutionFile&) = delete;

  /// The locked descriptor, for the process of the execution: the lock lasts until both are closed.
  int fd() const { return m_fd.get(); }

  /// Removes it, when the execution has ended. What is not removed is found unlocked, and removed, by the
  /// next one who looks.
  void remove();

  /// The children that have reported so far.
  std::set<pid_t> children() const;

  /// Notes that the process of the execution has taken turns, for whoever watches over it.
  /// \throw Failure when that cannot be written down.
  void noteTurns() const;

  /// How often that was noted.
  unsigned turns() const;

  /// Tells that a task is not started, because of a run of it. \throw Failure
  void noteInTheWay(Json::Int64 iResult) const;

  ExecutionReport report() const;

private:
  void append(const std::string& strLine) const;

  std::string m_strPath;
  UniqueFd m_fd;
};

/// Tells whether one of the executions that are alive and have a child with this number can have made this run record;
/// nothing when there is no such execution.
std::optional<bool> isOfLiveExecution(pid_t pid, Json::Int64 iResult);

/// What the execution tells that was begun for this note about an event; nothing when it is not alive.
std::optional<ExecutionReport> reportOfFiring(Json::Int64 iFiring);

/// Tells whether any execution is alive: until it has ended it may write to the store, although all its runs are
/// closed.
bool isAnyExecutionAlive();

/// The children of every execution that is alive. Files of executions that are not are removed.
std::set<pid_t> childrenOfLiveExecutions();

}  // namespace Host
