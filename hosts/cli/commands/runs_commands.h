/// \file runs_commands.h
/// What the subcommands of "runs" share.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>

#include "cli/context.h"
#include "common/store/session.h"
#include "common/support/unique_fd.h"

/// Adds the argument RUN, the number of a run.
CLI::Option* addRunOption(CLI::App* pCommand, Json::Int64& iResult, const char* szName = "run");

/// Closes what was interrupted since somebody last looked, so that nothing is shown as running that is not.
void closeInterruptedRuns(Host::Session& session);

/// Opens a file that a run left, wherever it is kept.
/// \param szFile  "output.log" or "script.log".
/// \return nothing when it is not there; `strLooked` then says where it was looked for, and why it may be gone.
std::optional<Host::UniqueFd> findRunFile(const Json::Value& jRun, const char* szFile, std::string& strLooked);

/// The same. \throw Host::Failure when it is not there.
Host::UniqueFd requireRunFile(const Json::Value& jRun, const char* szFile);

/// \name The subcommands
/// @{
void addRunsListCommand(CLI::App& runs, Context& context);
void addRunsOutputCommands(CLI::App& runs, Context& context);
void addRunsDiffCommand(CLI::App& runs, Context& context);
void addRunsPruneCommand(CLI::App& runs, Context& context);
/// @}
