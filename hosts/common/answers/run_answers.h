/// \file run_answers.h
/// Runs as JSON for programs.

#pragma once

#include <json/value.h>
#include <map>
#include <string>
#include <vector>

namespace Host {

class Progress;
struct ExecutionRequest;
struct PruneResult;

using TaskOwners = std::map<std::string, std::string>;  ///< names of owners by the names of their tasks

/// A run record as it is stored, with owner_name, duration, outcome and outcome_text.
Json::Value runForPrograms(const Json::Value& jRun, const TaskOwners& owners);

/// An array of runs.
Json::Value runsForPrograms(const std::vector<Json::Value>& vecRuns, const TaskOwners& owners);

/// The end of a file that a run left (see run_files.h). \throw Failure when it is not there.
Json::Value runFileForPrograms(const Json::Value& jRun, const char* szFile, unsigned cLines);

/// What was removed, or would be.
Json::Value pruneForPrograms(const PruneResult& result, bool blDryRun);

/// An execution that has ended.
Json::Value executionForPrograms(const ExecutionRequest& request, const Progress& progress, const TaskOwners& owners);

}  // namespace Host
