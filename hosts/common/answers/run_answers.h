/// \file run_answers.h
/// Runs as JSON for programs.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

class Progress;
struct ExecutionRequest;
struct LeftOut;
struct PruneResult;

/// A run record, with duration and outcome; end replaces shell_status, and cpu_seconds replaces cpu_usec.
Json::Value runForPrograms(const Json::Value& jRun);

/// An array of runs.
Json::Value runsForPrograms(const std::vector<Json::Value>& vecRuns);

/// The end of a file that a run left (see run_files.h). \throw Failure when it is not there.
Json::Value runFileForPrograms(const Json::Value& jRun, const char* szFile, unsigned cLines);

/// The removed runs and output, or those that would be removed.
Json::Value pruneForPrograms(const PruneResult& result, bool blDryRun);

/// An execution that has ended. \param vecLeftOut  the tasks that it did not start.
Json::Value executionForPrograms(const ExecutionRequest& request, const Progress& progress,
                                 const std::vector<LeftOut>& vecLeftOut);

}  // namespace Host
