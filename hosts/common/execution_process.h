/// \file execution_process.h
/// The process that calls the library to run tasks. It does nothing else and has one thread.

#pragma once

#include "execution_request.h"

namespace Host {

/// Does what the process of an execution does, from its first to its last step. Ends with 1 when the library failed.
/// \param fdFile  of the ExecutionFile.
/// \param fdLock  of the TaskLock.
[[noreturn]] void executeAndExit(const ExecutionRequest& request, int fdFile, int fdLock);

}  // namespace Host
