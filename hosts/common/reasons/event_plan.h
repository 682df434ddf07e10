/// \file event_plan.h
/// What an event would start, if it were fired now.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>
#include <vector>

#include "common/tasks/task_graph.h"
#include "reason.h"

namespace Host {

class Session;

/// A task that would be started. Seconds count from the event.
struct PlannedTask {
  GraphTask task;
  unsigned uWave = 1;                        ///< 1: at once; then one more than the last task that it waits for
  std::optional<Json::Int64> iLastDuration;  ///< of its newest run that has ended; nothing when there is none
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
  std::vector<std::string> vecProblems;  ///< why none of them would be started
  Json::Int64 iDuration = 0;             ///< until the last one has ended
  bool blExact = true;                   ///< false: some durations are not known, and count as none
};

/// \param jTasks  array: the stored task records.
/// The codes of reasons are those of Reasons, and "running", for a task whose run is alive and that does not
/// allow a second one.
EventPlan planEvent(Session& session, const Json::Value& jTasks, const std::string& strEvent);

/// Why the event of a task would not start it now; with the code "unsafe" besides, when nothing of it can be run.
std::vector<Reason> presentReasons(Session& session, const Json::Value& jTasks, const std::string& strTask);

}  // namespace Host
