/// \file temporary_files.h
/// What executions that keep no output leave behind.

#pragma once

#include <set>
#include <sys/types.h>

namespace Host {

/// Removes the temporary files of an execution that has ended.
void removeTemporaryFiles(pid_t pidExecution, const std::set<pid_t>& setChildren);

}  // namespace Host
