/// \file execute.h
/// Runs something and shows how it goes.

#pragma once

#include "context.h"

namespace Host {
struct ExecutionRequest;
class PreparedExecution;
class ServiceProcess;
}  // namespace Host

/// Tells what was found out before an execution starts.
void tellPrepared(const Host::PreparedExecution& prepared);

/// Sums up an execution in which nothing was run.
void printNothingRun(const Host::ExecutionRequest& request, bool blJson);

/// Runs something, shows it while it goes on, and sums it up.
/// \param pService  set where this process is the main one of a service.
/// \return the result of the program.
/// \throw Host::Failure when nothing was run, or when the execution itself failed.
int execute(const Context& context, const Host::ExecutionRequest& request, bool blJson,
            Host::ServiceProcess* pService = nullptr);
