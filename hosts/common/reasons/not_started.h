/// \file not_started.h
/// Why a task was not started in an execution that was to start it.

#pragma once

#include <json/value.h>
#include <set>
#include <string>
#include <vector>

#include "reason.h"

namespace Host {

class Session;

/// What is known of an execution.
struct ExecutionFacts {
  enum class State {
    UNDER_WAY,
    OVER,
    UNKNOWN,  ///< its processes have to be asked
  };

  State state = State::UNKNOWN;
  Json::Int64 iFired = 0;
  std::vector<Json::Value> vecRuns;   ///< the runs that it has started
  std::set<Json::Int64> setInTheWay;  ///< runs that it met when it was about to start their tasks once more
  bool blOverBudget = false;          ///< it was ended, because its time was used up
};

/// What became of a task that another one waits for.
struct NeedState {
  std::string strName;
  Json::Value jRun;  ///< its run in that execution; null when it has none
};

/// The run of a task in an execution; null when it has none.
Json::Value runOf(const std::vector<Json::Value>& vecRuns, const std::string& strTask);

/// The tasks that a task waits for, in an execution.
std::vector<NeedState> needsOf(const std::vector<Json::Value>& vecRuns, const Json::Value& jTask);

/// Tells whether a run that has no end on record goes on.
bool isRunning(const Json::Value& jRun);

/// The run that keeps a task from being started now; 0 when none does.
Json::Int64 refusingRunOf(Session& session, const std::string& strTask);

/// Says that a task was refused, because of a run of it.
Reason refusedReason(Json::Int64 iRun);

/// The codes, besides those of Reasons: "need_not_started", "need_running", "need_interrupted", "refused", "budget",
/// "interrupted", "waiting" and "unknown".
/// \param vecReasonsNow  what stands in the way by itself, as Reasons tells.
std::vector<Reason> whyNotStarted(Session& session, const ExecutionFacts& facts, const Json::Value& jTask,
                                  const std::vector<Reason>& vecReasonsNow);

}  // namespace Host
