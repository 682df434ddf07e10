/// \file reconcile.h
/// Closes the records of interrupted runs.

#pragma once

#include <json/value.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace Host {

class Session;
struct ExecutionNotes;
struct RunNotes;

/// Tells whether an open run still has its process, or an execution that will close it.
bool isRunAlive(const Json::Value& jRun);

/// The living processes on the running list of a task.
std::vector<pid_t> listedPidsOf(Session& session, const Json::Value& jTask);

/// The living processes of a task, also those that are not on its running list yet.
std::vector<pid_t> livePidsOf(Session& session, const std::string& strTask);

/// Adds to the end of a run that its output was cut.
void noteCut(const RunNotes& run, Json::Value& jEnd);

/// Kills the processes left of the runs of an execution whose process was killed. Background processes of scripts that
/// have ended stay.
/// \return false when a killed process has not ended: it may be waiting for a disk.
bool killRest(const ExecutionNotes& notes);

/// Closes the runs of an execution that are still open although its process has ended.
/// \param strPath  the file with these notes.
/// \return the new records of the closed runs.
std::vector<Json::Value> closeRuns(Session& session, const ExecutionNotes& notes, const std::string& strPath);

/// Ends the processes left of executions that were killed, and closes their runs: with their true end where it was
/// reported, otherwise as interrupted. Removes ended processes from the running lists, so that they no longer keep
/// tasks from starting.
/// \return the new records of the closed runs.
std::vector<Json::Value> reconcile(Session& session);

}  // namespace Host
