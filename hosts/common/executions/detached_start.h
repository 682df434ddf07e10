/// \file detached_start.h
/// Starts an execution that continues when its starter ends.

#pragma once

#include <functional>
#include <string>
#include <sys/types.h>

#include "execution_request.h"

namespace Host {

class PreparedExecution;

/// Where an execution runs.
struct DetachedStart {
  std::string strUnit;  ///< the service; empty where systemd does not run
  pid_t pid = 0;        ///< the process, where systemd does not run; 0 when no task could start
};

/// Starts an execution and returns as soon as it has started: as a service where systemd runs, in a background process
/// elsewhere. The service runs this program again, with the command line of eorva.
/// \param fnTell  shows the warnings before the start. Called in the background process, while it still shares the
///                standard output of its starter. Not called for a service, which writes them to its log.
/// \throw Failure when it was not started.
DetachedStart startDetached(const ExecutionRequest& request,
                            const std::function<void(const PreparedExecution&)>& fnTell);

}  // namespace Host
