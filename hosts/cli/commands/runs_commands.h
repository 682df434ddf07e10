/// \file runs_commands.h
/// What the subcommands of "runs" share.

#pragma once

#include <json/value.h>

#include "cli/context.h"

namespace Host {
class Session;
}

/// Adds the argument RUN, the number of a run.
CLI::Option* addRunOption(CLI::App* pCommand, Json::Int64& iResult, const char* szName = "run");

/// Closes what was interrupted since somebody last looked, so that nothing is shown as running that is not.
void closeInterruptedRuns(Host::Session& session);

/// \name The subcommands
/// @{
void addRunsListCommand(CLI::App& runs, Context& context);
void addRunsOutputCommands(CLI::App& runs, Context& context);
void addRunsDiffCommand(CLI::App& runs, Context& context);
void addRunsPruneCommand(CLI::App& runs, Context& context);
/// @}
