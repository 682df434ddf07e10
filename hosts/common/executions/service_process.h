/// \file service_process.h
/// The main process of the service that an execution runs in.

#pragma once

#include <functional>

namespace Host {

/// For the process that shows the execution: it stays until nothing of the service is left, so that whoever asks the
/// service to end asks it, and scripts are only asked in their order.
class ServiceProcess {
public:
  /// Takes in what loses its parent from now on. The signal that asks a service to end only counts here.
  ServiceProcess();

  /// Tells whether that signal has come since the last time.
  bool isAskedToEnd();

  /// Waits until everything that scripts have left behind has ended; when the service is asked to end, ends it.
  void waitForRest();
};

/// Runs an execution in the main process of its service. Waits for everything that scripts have left, also when the
/// execution failed.
int runAsService(const std::function<int(ServiceProcess&)>& fnRun);

}  // namespace Host
