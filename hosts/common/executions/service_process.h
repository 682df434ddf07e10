/// \file service_process.h
/// The main process of a service that runs an execution.

#pragma once

#include <functional>
#include <sys/types.h>

namespace Host {

/// It stays until no process of a script is left in the service. systemd asks only this process to end; the scripts are
/// ended in their order.
class ServiceProcess {
public:
  /// Handles SIGTERM from now on.
  ServiceProcess();

  /// Passes the request to end on to the watch of the execution.
  void passOnTo(pid_t pidWatch);

  /// Waits until all background processes of the scripts have ended. Ends them on request.
  void waitForRest() const;
};

/// Runs an execution in the main process of its service. Waits for background processes of the scripts, also when the
/// execution failed.
int runAsService(const std::function<int(ServiceProcess&)>& fnRun);

}  // namespace Host
