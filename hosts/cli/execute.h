/// \file execute.h
/// Runs something and shows how it goes.

#pragma once

#include <functional>

#include "common/executions/execution_request.h"
#include "context.h"

namespace Host {

class Session;
class ServiceProcess;
}  // namespace Host

/// What is shown of an execution, and to whom.
struct ExecuteView {
  bool blJson = false;
  /// Called when everything is ready and nothing has been started.
  std::function<void()> fnReady = [] {};
  /// Called when the execution is under way, with the process that watches over it.
  std::function<void(pid_t)> fnStarted = [](pid_t) {};
  /// Set where this process is the main one of a service.
  Host::ServiceProcess* pService = nullptr;
};

/// A run that would be refused is no run: whoever asked for it by name must learn that.
/// \throw Host::Failure when the task is running and does not allow several runs at once.
void refuseSecondRun(Host::Session& session, const std::string& strTask);

/// Runs something, shows it while it goes on, and sums it up.
/// \return the result of the program.
/// \throw Host::Failure when nothing was run, or when the execution itself failed.
int execute(const Context& context, const Host::ExecutionRequest& request, const ExecuteView& view);
