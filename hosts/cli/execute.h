/// \file execute.h
/// Runs an event or a task and shows the progress.

#pragma once

#include "context.h"

namespace Host {
struct ExecutionRequest;
class PreparedExecution;
class ServiceProcess;
}  // namespace Host

/// Prints the warnings before an execution starts.
void tellPrepared(const Host::PreparedExecution& prepared);

/// Prints the summary of an execution without runs.
void printNothingRun(const Host::ExecutionRequest& request, bool blJson);

/// Runs an event or a task, shows the progress, and prints a summary.
/// \param pService  set in the main process of a service.
/// \return the exit status of the program.
/// \throw Host::Failure when nothing was run, or the execution failed.
int execute(const Context& context, const Host::ExecutionRequest& request, bool blJson,
            Host::ServiceProcess* pService = nullptr);
