/// \file execution_file.h
/// What executions under way tell other processes: which children are theirs.
///
/// Every execution has a file under /run/eorva/executions that it keeps locked for as long as it lives; each
/// of its children adds its process id as the first thing it does. So a run whose process is gone can be told
/// from one that its execution is just about to close, and the processes of one execution from those of another.

#pragma once

#include <set>
#include <string>
#include <sys/types.h>

#include "unique_fd.h"

namespace Host {

class ExecutionFile {
public:
  /// Creates and locks the file. \throw Failure when that is impossible.
  ExecutionFile();

  ExecutionFile(const ExecutionFile&) = delete;
  ExecutionFile& operator=(const ExecutionFile&) = delete;

  /// The locked descriptor, for the process of the execution: the lock lasts until both are closed.
  int fd() const { return m_fd.get(); }

  /// Removes it, when the execution has ended. What is not removed is found unlocked, and removed, by the
  /// next one who looks.
  void remove();

  /// The children that have reported so far.
  std::set<pid_t> children() const;

private:
  std::string m_strPath;
  UniqueFd m_fd;
};

/// Makes every child that the calling process forks from now on report itself through a descriptor.
/// The children close it, and a second one; programs that they run inherit neither.
void reportChildrenTo(int fd, int fdCloseToo);

/// The children of every execution that is alive. Files of executions that are not are removed.
std::set<pid_t> childrenOfLiveExecutions();

}  // namespace Host
