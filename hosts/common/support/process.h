/// \file process.h
/// Processes that are looked at, waited for and signalled without being taken for others: a process id can be given
/// to another process at any moment, a descriptor of a process cannot.

#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "unique_fd.h"

namespace Host {

/// What was killed is gone at once, unless it cannot be, as when it waits for a disk that does not answer: it is waited
/// for no longer than this.
inline constexpr std::chrono::seconds KILL_LIMIT(30);

/// What the kernel tells about a process.
struct ProcessStatus {
  pid_t pid = 0;
  pid_t pidParent = 0;
  char cState = '?';             ///< R, S, D, T, Z ...
  std::uint64_t ticksStart = 0;  ///< when it started, in clock ticks since the boot
  std::string strName;           ///< of its program, or what it calls itself; up to 15 bytes

  bool isEnded() const { return cState == 'Z' || cState == 'X'; }
};

/// Gives what is known about a process; nothing when there is none.
std::optional<ProcessStatus> processStatus(pid_t pid);

/// One process, whatever its number will mean later.
class Process {
public:
  /// Takes hold of the process that has this number now.
  explicit Process(pid_t pid);

  /// Takes hold of a process that was seen before; of none when it is gone.
  explicit Process(const ProcessStatus& seen);

  pid_t pid() const { return m_pid; }

  /// What is known about it; nothing when it is gone.
  std::optional<ProcessStatus> status() const;

  /// Tells whether it runs, or could: it is neither gone nor has it ended.
  bool isAlive() const;

  /// Sends a signal to it. \return false when it is gone.
  bool signal(int iSignal) const;

  /// A descriptor that becomes readable when it ends; -1 when it was gone from the beginning.
  int fd() const { return m_fd.get(); }

private:
  pid_t m_pid;
  UniqueFd m_fd;
  std::uint64_t m_ticksStart = 0;  ///< tells it apart when no descriptor was to be had
};

/// All processes at one moment, by parent.
class ProcessTable {
public:
  /// Reads the table of the system.
  ProcessTable();

  /// The processes that stem from one, not itself; those that have ended and wait for their parent are left out.
  std::vector<ProcessStatus> below(pid_t pid) const;

  /// The children of one, ended ones included.
  std::map<pid_t, ProcessStatus> childrenOf(pid_t pid) const;

private:
  std::multimap<pid_t, ProcessStatus> m_mapByParent;
};

/// Seconds since a process started, by a clock that nobody sets.
double secondsSinceStart(const ProcessStatus& status);

}  // namespace Host
