/// \file event_plan.h
/// The tasks that an event would start now.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "common/store/records.h"
#include "common/tasks/task_graph.h"
#include "reason.h"

namespace Host {

class Session;

/// A task that would be started. Times are seconds since the event.
struct PlannedTask {
  GraphTask task;
  unsigned uWave = 1;                        ///< 1: at once; else one more than its last dependency
  std::optional<Json::Int64> iLastDuration;  ///< seconds, of its newest run that has ended
  Json::Int64 iStart = 0;
  Json::Int64 iEnd = 0;
};

/// A task that would not be started.
struct BlockedTask {
  std::string strName;
  std::vector<Reason> vecReasons;
};

struct EventPlan {
  std::vector<PlannedTask> vecTasks;     ///< by wave, then by name
  std::vector<BlockedTask> vecBlocked;   ///< by name
  std::vector<std::string> vecProblems;  ///< why no task would be started
  Json::Int64 iDuration = 0;             ///< seconds until the last task has ended
  bool blExact = true;                   ///< false: unknown durations count as 0
};

/// The members of task records that a plan needs.
extern const Members PLAN_MEMBERS;

/// \param jTasks  array: the stored task records, with PLAN_MEMBERS at least.
/// The codes of reasons are those of Reasons, and "running" for a task that runs and allows only one run at a time.
EventPlan planEvent(Session& session, const Json::Value& jTasks, const std::string& strEvent);

/// Why the event of a task would not start the task now. Another code is "unsafe": no task of the event can be run.
std::vector<Reason> presentReasons(Session& session, const Json::Value& jTasks, const std::string& strTask);

}  // namespace Host
