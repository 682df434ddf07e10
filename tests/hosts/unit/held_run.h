/// \file held_run.h
/// A run without an execution.

#pragma once

#include <string>
#include <sys/types.h>

#include "common/runs/run_group.h"
#include "common/support/files.h"

namespace HostTest {

/// Has the calling process end with its parent, whenever that ends.
void endWith(pid_t pidParent);

/// A child of this process: it has a group or a session of its own, and waits for a shell.
class HeldRun {
public:
  /// \param strUnit   folder of the control group below which it gets one; empty for none.
  /// \param strShell  what the shell does. A script is what it starts.
  HeldRun(const std::string& strUnit, const std::string& strShell);

  /// Kills what is left.
  ~HeldRun();

  HeldRun(const HeldRun&) = delete;
  HeldRun& operator=(const HeldRun&) = delete;

  pid_t pid() const { return m_pid; }

  /// The name of its control group; empty for none.
  const std::string& groupName() const { return m_strGroupName; }
  Host::RunGroup group() const { return {m_strGroup, m_pid}; }

  /// Reads a line that the shell or its script writes.
  std::string hear() const;

  /// Writes a line for them.
  void tell() const;

  /// Waits for the end of the run's process. \return the exit status of the shell, as a shell tells it.
  int waitEnd();

private:
  [[noreturn]] void be(pid_t pidParent, const std::string& strShell);

  Host::Pipe m_in;
  Host::Pipe m_out;
  std::string m_strGroupName;
  std::string m_strGroup;
  pid_t m_pid = 0;
  bool m_blEnded = false;
};

}  // namespace HostTest
