/// \file run_answers.h
/// Runs as JSON for programs.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

namespace Host {

class Progress;
struct DetachedStart;
struct ExecutionRequest;
struct LeftOut;
struct PruneResult;
struct TryNotes;

/// A run record, with duration and outcome; end replaces shell_status, and cpu_seconds replaces cpu_usec.
Json::Value runForPrograms(const Json::Value& jRun);

/// "try 2 of 4 follows at TIME"; empty for none.
std::string nextTryText(const std::optional<TryNotes>& next);

/// Its time and which try it is; null for none.
Json::Value nextTryForPrograms(const std::optional<TryNotes>& next);

/// An array of runs.
Json::Value runsForPrograms(const std::vector<Json::Value>& vecRuns);

/// One run, or an array of several.
Json::Value stoppedForPrograms(const std::vector<Json::Value>& vecRuns);

/// The end of a file that a run left (see run_files.h). \throw Failure when it is not there.
Json::Value runFileForPrograms(const Json::Value& jRun, const char* szFile, unsigned cLines);

/// The difference of the scripts of two runs.
/// \param strDifference  as diff prints it; empty when they are the same.
Json::Value runDifferenceForPrograms(const Json::Value& jLeft, const Json::Value& jRight, const char* szFile,
                                     const std::string& strDifference);

/// The removed runs and output, or those that would be removed.
Json::Value pruneForPrograms(const PruneResult& result, bool blDryRun);

/// The start of an execution in the background, which has the unit or the process.
Json::Value startForPrograms(const ExecutionRequest& request, const DetachedStart& start);

/// An execution that has ended. \param vecLeftOut  the tasks that it did not start.
Json::Value executionForPrograms(const ExecutionRequest& request, const Progress& progress,
                                 const std::vector<LeftOut>& vecLeftOut);

}  // namespace Host
