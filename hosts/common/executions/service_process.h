/// \file service_process.h
/// The main process of a service that runs an execution.

#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <utility>

namespace Host {

/// Waits until no run of an execution has a process any more. Ends them when systemd asks for that.
/// \param strGroup  folder of the execution's control group.
void waitForRest(const std::string& strGroup);

/// It stays until no process of a script is left in the service. systemd asks only this process to end; the scripts are
/// ended in their order.
class ServiceProcess {
public:
  /// Handles SIGTERM from now on.
  ServiceProcess();

  /// Passes the request to end on to the watch of the execution; 0 when that has ended.
  void passOnTo(pid_t pidWatch);

  /// \param strGroup  folder of the execution's control group.
  void setGroup(std::string strGroup) { m_strGroup = std::move(strGroup); }

  /// Waits until all background processes of the scripts have ended. Ends them on request.
  void waitForRest() const { Host::waitForRest(m_strGroup); }

private:
  std::string m_strGroup;
};

/// Runs an execution in the main process of its service. Waits for background processes of the scripts, also when the
/// execution failed.
int runAsService(const std::function<int(ServiceProcess&)>& fnRun);

}  // namespace Host
