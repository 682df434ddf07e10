/// \file runs_commands.h
/// Functions for all subcommands of "runs".

#pragma once

#include <json/value.h>
#include <string>

#include "cli/context.h"

namespace Host {
class Session;
}

/// Adds the argument RUN, the number of a run.
CLI::Option* addRunOption(CLI::App* pCommand, Json::Int64& iRun, const char* szName = "run");

/// Adds the argument for the number of a run, or for the task whose newest run is meant.
CLI::Option* addNamedRun(CLI::App* pCommand, std::string& strRun);

/// Closes interrupted runs, so that they are not shown as running.
void closeInterruptedRuns(Host::Session& session);

/// \name The subcommands
/// @{
void addRunsListCommand(CLI::App& runs, Context& context);
void addRunsOutputCommands(CLI::App& runs, Context& context);
void addRunsDiffCommand(CLI::App& runs, Context& context);
void addRunsPruneCommand(CLI::App& runs, Context& context);
/// @}
