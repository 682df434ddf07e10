/// \file temporary_files.h
/// The temporary files of executions without output folder.

#pragma once

#include <set>
#include <sys/types.h>

namespace Host {

/// Removes the temporary files of an execution that has ended.
void removeTemporaryFiles(pid_t pidExecution, const std::set<pid_t>& setChildren);

}  // namespace Host
