/// \file process.h
/// Processes, held by a descriptor: a process id can be reused at any moment, a descriptor cannot.

#pragma once

#include <chrono>
#include <cstdint>
#include <optional>
#include <sys/types.h>
#include <vector>

#include "unique_fd.h"

namespace Host {

/// Wait limit for killed processes. They end at once, unless they wait for a disk that does not respond.
inline constexpr std::chrono::seconds KILL_LIMIT(30);

/// The state of a process.
struct ProcessStatus {
  pid_t pid = 0;
  pid_t pidParent = 0;
  pid_t pidSession = 0;          ///< leader of its session
  char cState = '?';             ///< R, S, D, T, Z ...
  std::uint64_t ticksStart = 0;  ///< when it started, in clock ticks since the boot

  bool isEnded() const { return cState == 'Z' || cState == 'X'; }
};

/// Reads the state of a process; nothing when there is none.
std::optional<ProcessStatus> processStatus(pid_t pid);

/// One process; stays the same when its id is reused.
class Process {
public:
  /// Opens the process that has this id now.
  explicit Process(pid_t pid);

  pid_t pid() const { return m_pid; }

  /// Its state; nothing when it has ended.
  std::optional<ProcessStatus> status() const;

  /// Tells whether it is alive; a zombie is not.
  bool isAlive() const;

  /// Sends a signal to it. \return false when it has ended.
  bool signal(int iSignal) const;

  /// A descriptor that becomes readable when it ends; -1 when it had ended already.
  int fd() const { return m_fd.get(); }

private:
  pid_t m_pid;
  UniqueFd m_fd;
  std::uint64_t m_ticksStart = 0;  ///< identifies it when it has no descriptor
};

/// The living processes of a session. Only for systems without control groups: a process can leave its session.
std::vector<pid_t> membersOfSession(pid_t pidLeader);

/// Seconds since a process started, by the clock that counts from the boot.
double secondsSinceStart(const ProcessStatus& status);

}  // namespace Host
