/// \file explanation.h
/// Why a task did, or did not, run when its event was last fired.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "obstacle.h"
#include "session.h"

namespace Host {

/// What became of a task that another one waits for.
struct NeedState {
  std::string strName;
  Json::Value jRun;  ///< its run in that execution; null when it has none
};

struct Explanation {
  enum class Verdict { RAN, RUNNING, NOT_STARTED, NEVER_FIRED };

  Json::Value jTask;
  Verdict verdict = Verdict::NEVER_FIRED;
  Json::Int64 iFired = 0;              ///< when the event was last fired, as far as the run records tell
  Json::Value jRun;                    ///< the task's run then; null when it has none
  std::vector<NeedState> vecNeeds;     ///< the tasks that it waits for, then
  std::vector<Obstacle> vecReasons;    ///< why it was not started then
  std::vector<Obstacle> vecObstacles;  ///< why it would not be started now
  Json::Value jNewest;                 ///< its newest run, whatever started it; null when there is none
};

/// Besides those of obstaclesOf(), reasons have the codes "need_not_started", "need_running", "need_interrupted",
/// "refused", "interrupted" and "unknown".
/// \throw Failure when there is no such task.
Explanation explainTask(Session& session, const std::string& strTask);

/// The word for it in machine-readable output: "ran", "running", "not_started" or "never_fired".
const char* verdictWord(Explanation::Verdict verdict);

}  // namespace Host
