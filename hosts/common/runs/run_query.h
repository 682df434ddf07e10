/// \file run_query.h
/// Finds runs.

#pragma once

#include <cstddef>
#include <ctime>
#include <json/value.h>
#include <map>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "outcome.h"

namespace Host {

class Session;

/// Conditions for runs. A condition that is not set matches every run.
struct RunQuery {
  std::string strTask;
  std::string strEvent;
  std::optional<uid_t> owner;
  std::optional<Outcome::Kind> outcome;
  bool blInterrupted = false;        ///< only failed runs that were interrupted
  std::optional<std::time_t> since;  ///< started then or later
  std::optional<std::time_t> until;  ///< started then or earlier
  Json::Int64 iBefore = 0;           ///< only runs with a smaller number
  unsigned cLimit = 0;               ///< how many at most; 0 gives all
};

struct RunPage {
  std::vector<Json::Value> vecRuns;  ///< the newest first
  bool blMore = false;               ///< older runs match, too
};

/// Finds the newest runs that match. \throw Failure when the store fails, or there is no such task or event.
RunPage newestRuns(Session& session, const RunQuery& query);

/// The open runs of a task, the newest first. \throw Failure when the store fails, or there is no such task.
std::vector<Json::Value> openRunsOf(Session& session, const std::string& strTask);

/// The newest run of a task; null when it has none. \throw Failure when the store fails; here and below.
Json::Value newestRunOf(Session& session, const std::string& strTask);

/// The run with this number, or the newest run of the task with this name. A number is always that of a run.
/// \throw Failure when there is none, too.
Json::Value namedRun(Session& session, const std::string& strRunOrTask);

/// Runs by how they ended.
struct RunCounts {
  std::size_t cAll = 0;
  std::size_t cFailed = 0;
  std::size_t cRunning = 0;
};

/// Counts the runs that began at a time or later. Older runs are not read, so it is cheap.
RunCounts countRuns(Session& session, std::time_t since);

/// The newest run of each task that has one, by the name of the task: with the members that say how it ended.
std::map<std::string, Json::Value> newestRunOfEach(Session& session);

}  // namespace Host
