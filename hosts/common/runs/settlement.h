/// \file settlement.h
/// The settlement of executions that were killed: their runs are ended and closed.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

class Session;
struct ExecutionNotes;
struct RunNotes;

/// Adds to the end of a run that its output was cut, or why its directory could not be entered.
void addExtra(const RunNotes& run, Json::Value& jEnd);

/// Closes one run: with its true end where it was reported, otherwise as interrupted.
/// \param jRun  becomes the new record.
/// \return false when it has been closed meanwhile.
bool closeRun(Session& session, Json::Value& jRun, const RunNotes& notes);

/// Kills the processes left of the runs of an execution whose process was killed. Background processes of scripts that
/// have ended stay.
/// \return false when a killed process has not ended: it may be waiting for a disk.
bool killRest(const ExecutionNotes& notes);

/// Closes the runs of an execution that are still open although its process has ended.
/// \param strPath  the file with these notes.
/// \return the new records of the closed runs.
std::vector<Json::Value> closeRuns(Session& session, const ExecutionNotes& notes, const std::string& strPath);

/// Settles all executions that were killed.
/// \return the new records of the closed runs.
std::vector<Json::Value> settleExecutions(Session& session);

}  // namespace Host
