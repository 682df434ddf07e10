/// \file explanation.h
/// Why a task ran or did not run when its event was last fired.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "common/runs/next_try.h"
#include "not_started.h"
#include "reason.h"

namespace Host {

class Session;

struct Explanation {
  enum class Verdict { RAN, RUNNING, NOT_STARTED, NEVER_FIRED };

  Json::Value jTask;
  Verdict verdict = Verdict::NEVER_FIRED;
  bool blRemembered = false;             ///< recorded when the event was fired; else worked out from the present state
  Json::Int64 iFiredAt = 0;              ///< when the event was last fired
  Json::Value jRun;                      ///< the task's run then; null for none
  std::vector<AwaitedTask> vecWaitsFor;  ///< its dependencies then
  std::vector<Reason> vecReasons;        ///< why it was not started then
  std::vector<Reason> vecReasonsNow;     ///< why it would not be started now
  NextTries tries;                       ///< the runs that are repeated
  Json::Value jNewest;                   ///< its newest run of any trigger; null for none
};

/// Reasons have the codes of whyNotStarted(), "not_fired" when no task of the event could be run, and "not_there" when
/// the task did not belong to the event.
/// \throw Failure when there is no such task.
Explanation explainTask(Session& session, const std::string& strTask);

/// For programs: "ran", "running", "not_started" or "never_fired".
const char* verdictWord(Explanation::Verdict verdict);

}  // namespace Host
