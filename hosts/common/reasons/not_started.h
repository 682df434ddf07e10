/// \file not_started.h
/// Why an execution did not start one of its tasks.

#pragma once

#include <json/value.h>
#include <set>
#include <string>
#include <vector>

#include "reason.h"

namespace Host {

class Session;

/// The facts about an execution.
struct ExecutionFacts {
  enum class State {
    UNDER_WAY,
    OVER,
    UNKNOWN,  ///< nothing is recorded: its processes tell
  };

  State state = State::UNKNOWN;
  Json::Int64 iFiredAt = 0;
  std::vector<Json::Value> vecRuns;   ///< the runs that it started
  std::set<Json::Int64> setInTheWay;  ///< running runs that kept it from starting their tasks
  bool blOverBudget = false;          ///< it was ended at its time limit
};

/// A dependency of a task, in an execution.
struct AwaitedTask {
  std::string strName;
  Json::Value jRun;  ///< its run; null when it was not started
};

/// The last run of a task among those of an execution; null when there is none.
Json::Value runOf(const std::vector<Json::Value>& vecRuns, const std::string& strTask);

/// The dependencies of a task, in an execution.
std::vector<AwaitedTask> awaitedTasks(const std::vector<Json::Value>& vecRuns, const Json::Value& jTask);

/// Tells whether a run is still running.
bool isRunning(const Json::Value& jRun);

/// The running run that keeps a task from being started now; 0 for none.
Json::Int64 refusingRunOf(Session& session, const std::string& strTask);

/// The reason "refused".
/// \param iRun  the run that was still running.
Reason refusedReason(Json::Int64 iRun);

/// Finds the reasons. The codes, in addition to those of Reasons: "need_not_started", "need_running",
/// "need_interrupted", "need_retry", "need_failed", "refused", "budget", "interrupted", "waiting" and "unknown".
/// \param vecReasonsNow  the reasons that Reasons finds.
std::vector<Reason> whyNotStarted(Session& session, const ExecutionFacts& facts, const Json::Value& jTask,
                                  const std::vector<Reason>& vecReasonsNow);

}  // namespace Host
