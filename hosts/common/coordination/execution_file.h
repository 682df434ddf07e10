/// \file execution_file.h
/// The files in which running executions note the events of their runs.
///
/// Every execution keeps a file in /run/eorva/executions locked for its lifetime. The process of the execution, the
/// processes of its runs, the watch, and whoever stops a run append lines. The watch and the display wait for new lines
/// instead of looking around. When an execution was killed, the file tells how its runs ended.

#pragma once

#include <chrono>
#include <cstdint>
#include <json/value.h>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <sys/types.h>
#include <utility>
#include <vector>

#include "common/support/unique_fd.h"

namespace Host {

/// The notes about one run.
struct RunNotes {
  std::chrono::seconds limit{0};  ///< the time limit of its task; 0 for none
  bool blBegun = false;           ///< its process is in its control group, and starts the script
  std::uint64_t ticksStart = 0;   ///< when this process started, in clock ticks since the boot
  std::string strGroup;           ///< the name of this group; empty where there are none
  std::optional<int> status;      ///< wait status of the shell that ran the script; -1: the script was not started
  std::int64_t cbWritten = 0;     ///< how much output had been written when it was cut; 0 when it was not
  int iDirectoryError = 0;        ///< why its owner could not enter the directory of the task; an errno, or 0
  std::string strEndedBy;         ///< why it is being ended early; empty when it is not
  std::chrono::seconds grace{0};  ///< time to end by itself then
  bool blClosed = false;          ///< its process has ended
};

/// The notes about the next try of a task after a run that failed.
struct TryNotes {
  enum class State { WAITING, BEGUN, STOPPED };

  Json::Int64 iAt = 0;   ///< when it is due, in seconds since 1970
  Json::Int64 iTry = 0;  ///< which try it is
  Json::Int64 cTries = 0;
  State state = State::WAITING;
};

/// The notes about an execution.
struct ExecutionNotes {
  Json::Int64 iLastRun = 0;                  ///< runs up to this one are older
  Json::Int64 iFiring = 0;                   ///< the recorded firing of the event; 0 for none
  std::string strGroup;                      ///< folder of its control group; empty where there are none
  std::map<pid_t, RunNotes> mapRuns;         ///< by process
  unsigned cStored = 0;                      ///< how often earlier notes got into the store
  std::map<Json::Int64, TryNotes> mapTries;  ///< next tries, by the run that failed
  std::set<Json::Int64> setInTheWay;         ///< open runs that kept it from starting their tasks
  bool blDone = false;  ///< it ended in order, and left background processes of scripts in its group

  std::set<pid_t> children() const;

  /// Tells whether a run with this process id has not been closed.
  bool hasOpen(pid_t pid) const;

  /// Tells whether a run record with this process id can belong to it. An execution that began after the run cannot be
  /// its parent.
  bool has(pid_t pid, Json::Int64 iRun) const { return mapRuns.count(pid) > 0 && iLastRun < iRun; }

  /// Tells whether somebody stopped the next try after this run before it began.
  bool isTryStopped(Json::Int64 iRun) const;

  /// The folder of a run's control group; empty when it has none, or none yet.
  std::string groupOf(pid_t pid) const;

  /// Takes over a line. \return the process that it is about; 0 for none.
  pid_t take(std::string_view strLine);

private:
  void settleTry(Json::Int64 iRun, TryNotes::State state);
};

class ExecutionFile {
public:
  /// Creates and locks the file.
  /// \param iLastRun  the last run before the execution.
  /// \param iFiring      the recorded firing of the event; 0 for none.
  /// \throw Failure
  ExecutionFile(Json::Int64 iLastRun, Json::Int64 iFiring);

  /// For a child: shares the file of the descriptor that it got.
  ExecutionFile(std::string strPath, int fd) : m_strPath(std::move(strPath)), m_fd(fd) {}

  ExecutionFile(const ExecutionFile&) = delete;
  ExecutionFile& operator=(const ExecutionFile&) = delete;

  const std::string& path() const { return m_strPath; }

  /// The locked descriptor, for the process of the execution: the lock lasts until all copies are closed.
  int fd() const { return m_fd.get(); }

  /// Removes the file at the end of the execution.
  void remove();

  /// Reads the lines that are new. \return the processes of the runs that they are about.
  std::set<pid_t> update();

  /// The notes up to the last update().
  const ExecutionNotes& notes() const { return m_notes; }

  /// \name New lines
  /// \throw Failure when they cannot be written.
  /// @{

  void noteGroup(const std::string& strGroup) const;

  /// A run that is about to be recorded.
  void noteRun(pid_t pid, std::chrono::seconds limit) const;

  /// A run whose process has ended.
  void noteClosed(pid_t pid) const;

  /// The store has all earlier notes.
  void noteStored() const;

  /// A task is not started because this run of it is open.
  void noteInTheWay(Json::Int64 iRun) const;

  /// The run is to be ended.
  /// \param szWhy  see outcome.h.
  void noteEnding(pid_t pid, const char* szWhy, std::chrono::seconds grace) const;

  /// The task of this run is run again.
  void noteNextTry(Json::Int64 iRun, const TryNotes& next) const;

  /// The next try after this run begins, unless somebody has stopped it: the first note counts.
  void noteTryBegun(Json::Int64 iRun) const;

  void noteDone() const;

  /// \param iStatus  see RunReport::end(). For the others, see RunNotes.
  void noteEnd(pid_t pid, int iStatus, std::int64_t cbWritten = 0, int iDirectoryError = 0) const;

  /// @}

private:
  void append(const std::string& strLine) const;

  std::string m_strPath;
  UniqueFd m_fd;
  off_t m_iRead = 0;
  ExecutionNotes m_notes;
};

/// The file of an execution for the process of one run. It has no part in the lock, and no script inherits it.
class RunReport {
public:
  RunReport(const std::string& strPath, pid_t pid);

  /// \param strGroup  the name of its control group; empty where there are none.
  void begin(const std::string& strGroup) const;

  /// \param iStatus  the wait status of the shell; -1 when the script was not started.
  void end(int iStatus) const;

private:
  void append(const std::string& strLine) const;

  UniqueFd m_fd;
  pid_t m_pid;
};

/// An execution that is alive.
struct LiveExecution {
  std::string strPath;
  ExecutionNotes notes;

  /// Asks the execution to end one of its runs. \throw Failure
  void endRun(pid_t pid, const char* szWhy, std::chrono::seconds grace) const;

  /// Stops the next try after a run. \return false when it has begun. \throw Failure
  bool stopTry(Json::Int64 iRun) const;
};

std::vector<LiveExecution> liveExecutions();

/// The living execution that a run record with this process id can belong to; nothing when there is none.
std::optional<LiveExecution> executionOf(pid_t pid, Json::Int64 iRun);

/// Tells whether the file of an execution, alive or killed, has a run with this process id.
bool isNoted(pid_t pid, Json::Int64 iRun);

/// The execution of this firing; nothing when it has ended.
std::optional<LiveExecution> executionOfFiring(Json::Int64 iFiring);

/// Tells whether any execution is running. It may write to the store until it ends, also when all its runs are
/// closed.
bool isAnyExecutionAlive();

/// The children of all running executions.
std::set<pid_t> childrenOfLiveExecutions();

/// An execution that was killed, or that left background processes of scripts. Locked for as long as this lives, so
/// that only one command settles it.
struct EndedExecution {
  std::string strPath;
  UniqueFd lock;
  ExecutionNotes notes;

  /// Nothing is left to be settled.
  void forget() const;
};

std::vector<EndedExecution> endedExecutions();

}  // namespace Host
