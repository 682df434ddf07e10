/// \file service_process.h
/// The main process of a service that runs an execution.

#pragma once

#include <functional>

namespace Host {

/// It stays until no process of the service is left. systemd asks only this process to end, and it ends the scripts in
/// their order.
class ServiceProcess {
public:
  /// Becomes a subreaper, and blocks SIGTERM, which isAskedToEnd() reads.
  ServiceProcess();

  /// Tells whether SIGTERM has come since the last call.
  bool isAskedToEnd();

  /// Waits until all background processes of the scripts have ended. Ends them on SIGTERM.
  void waitForRest();
};

/// Runs an execution in the main process of its service. Waits for background processes of the scripts, also when the
/// execution failed.
int runAsService(const std::function<int(ServiceProcess&)>& fnRun);

}  // namespace Host
