#include "running_list.h"

#include <algorithm>
#include <fmt/format.h>

#include "common/coordination/execution_file.h"
#include "common/store/records.h"
#include "common/store/session.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "run_identity.h"

namespace Host {

namespace {

/// Tells whether the process of the newest run with this process id is still there.
bool isLastAlive(Session& session, const std::string& strTask, pid_t pid) {
  const Json::Value jRuns = listRuns(session, fmt::format("task_name = {} and pid = {}", sqlText(strTask), pid), 1);
  return !jRuns.empty() && isProcessOf(jRuns[0]);
}

/// Tells whether a process on a running list is still a run of the task.
bool isListedAlive(Session& session, const std::string& strTask, pid_t pid) {
  if (!isLastAlive(session, strTask, pid) && childrenOfLiveExecutions().count(pid) == 0) {
    return false;
  }
  const Json::Value jRuns = listRuns(session, fmt::format("pid = {} and stop_time is null", pid), 1);
  return jRuns.empty() || textOf(jRuns[0], "task_name") == strTask;
}

/// The corrected status: without ended processes.
Json::Value liveStatus(Session& session, const Json::Value& jTask) {
  const Json::Value& jStored = memberOf(jTask, "status");
  Json::Value jStatus = jStored.isObject() ? jStored : Json::Value(Json::objectValue);
  jStatus["running"] = Json::Value(Json::arrayValue);
  for (const pid_t pid : listedPidsOf(session, jTask)) {
    jStatus["running"].append(pid);
  }
  return jStatus;
}

/// A task has no list before its first run. A list that the library cannot read would keep the task from ever running
/// again.
bool isTrue(Session& session, const Json::Value& jTask) {
  const Json::Value& jStatus = memberOf(jTask, "status");
  return jStatus.isNull() || (jStatus.isObject() && !jStatus.isMember("running")) ||
         jStatus == liveStatus(session, jTask);
}

void pruneRunning(Session& session, const Json::Value& jTask) {
  if (isTrue(session, jTask)) {
    return;
  }
  const Json::Value jFilter = objectOf({{"task_name", jTask["task_name"]}});
  WriteLock lock(session);
  Json::Value jNow;
  if (session.tasks()->recGetOne(jFilter, jNow) < 0 || !jNow.isObject()) {
    return;
  }
  Json::Value jUpdate(Json::objectValue);
  jUpdate["status"] = liveStatus(session, jNow);
  if (session.tasks()->recUpdateByFilter(jFilter, jUpdate) < 0) {
    throw Failure(fmt::format("cannot change the task \"{}\" in the store", textOf(jNow, "task_name")));
  }
  lock.commit();
}

}  // namespace

std::vector<pid_t> listedPidsOf(Session& session, const Json::Value& jTask) {
  std::vector<pid_t> vecPids;
  const Json::Value& jRunning = memberOf(memberOf(jTask, "status"), "running");
  for (const Json::Value& jPid : jRunning.isArray() ? jRunning : Json::Value(Json::arrayValue)) {
    if (jPid.isInt() && jPid.asInt() > 0 && isListedAlive(session, textOf(jTask, "task_name"), jPid.asInt())) {
      vecPids.push_back(jPid.asInt());
    }
  }
  return vecPids;
}

std::vector<pid_t> livePidsOf(Session& session, const std::string& strTask) {
  std::vector<pid_t> vecPids = listedPidsOf(session, findTask(session, strTask));
  for (const Json::Value& jRun : listRuns(session, "stop_time is null")) {
    const bool blKnown = std::find(vecPids.begin(), vecPids.end(), pidOf(jRun)) != vecPids.end();
    if (textOf(jRun, "task_name") == strTask && !blKnown && isRunAlive(jRun)) {
      vecPids.push_back(pidOf(jRun));
    }
  }
  return vecPids;
}

void pruneRunningLists(Session& session) {
  // Most tasks are not running.
  const Json::Value jFilter =
      objectOf({{"orvaSqlWhereFilter", "status is not null and status not like '%\"running\":[]%'"}});
  for (const Json::Value& jTask : listTasks(session, jFilter)) {
    pruneRunning(session, jTask);
  }
}

}  // namespace Host
