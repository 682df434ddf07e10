/// \file explanation.h
/// Why a task did, or did not, run when its event was last fired.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

#include "not_started.h"
#include "reason.h"

namespace Host {

class Session;

struct Explanation {
  enum class Verdict { RAN, RUNNING, NOT_STARTED, NEVER_FIRED };

  Json::Value jTask;
  Verdict verdict = Verdict::NEVER_FIRED;
  bool blRemembered = false;          ///< what follows was written down then; else it is worked out from what is so now
  Json::Int64 iFired = 0;             ///< when the event was last fired
  Json::Value jRun;                   ///< the task's run then; null when it has none
  std::vector<NeedState> vecNeeds;    ///< the tasks that it waits for, then
  std::vector<Reason> vecReasons;     ///< why it was not started then
  std::vector<Reason> vecReasonsNow;  ///< why it would not be started now
  Json::Value jNewest;                ///< its newest run, whatever started it; null when there is none
};

/// Reasons have the codes of whyNotStarted(), and "not_fired", when the event could not be fired, and "not_there", when
/// the task did not belong to it.
/// \throw Failure when there is no such task.
Explanation explainTask(Session& session, const std::string& strTask);

/// The word for it in machine-readable output: "ran", "running", "not_started" or "never_fired".
const char* verdictWord(Explanation::Verdict verdict);

}  // namespace Host
