/// \file run_group.h
/// The processes of one run.
///
/// The process of a run enters a control group of its own before it starts the script, while it is still root's. So
/// whatever the script starts is in this group, and cannot leave it. Where there are no control groups, a run has at
/// least a session of its own, which a script can leave.

#pragma once

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

#include "common/support/process.h"

namespace Host {

class RunGroup {
public:
  /// \param strGroup    folder of the control group; empty where there are none.
  /// \param pid         the process of the run.
  /// \param ticksStart  when it started, since its id may be another's by now; 0 when that is unknown.
  RunGroup(std::string strGroup, pid_t pid, std::uint64_t ticksStart = 0)
      : m_strGroup(std::move(strGroup)), m_pid(pid), m_ticksStart(ticksStart) {}

  /// The living processes.
  std::vector<pid_t> members() const;

  bool isEmpty() const;

  /// Asks all processes that the script has started to end.
  /// \return false when it has started none yet.
  bool ask() const;

  /// Kills all processes.
  void kill() const;

  /// Kills the process of the run alone. What its script has left in the background stays.
  void killProcess() const;

  /// Tells whether the process of the run is alive; false when its start is unknown.
  bool hasProcess() const { return hasProcess(Process(m_pid)); }

private:
  bool has(const ProcessStatus& status) const;
  bool isOfOther() const;
  bool hasProcess(const Process& process) const;

  std::string m_strGroup;
  pid_t m_pid;
  std::uint64_t m_ticksStart;
};

}  // namespace Host
