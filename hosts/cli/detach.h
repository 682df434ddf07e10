/// \file detach.h
/// Runs something without waiting for it.

#pragma once

#include "common/executions/execution_request.h"
#include "context.h"

/// Starts an execution that nothing ends that ends this process: as a service of its own where systemd runs, as a
/// process in the background elsewhere. Returns when it has been started, and says where.
/// \return the result of the program.
/// \throw Host::Failure when it was not started.
int detach(const Context& context, const Host::ExecutionRequest& request, bool blJson);
