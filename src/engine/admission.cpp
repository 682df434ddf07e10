#include "engine/admission.h"

#include <limits>

#include "orva_platform.h"

#include "catalogue/records.h"
#include "engine/launcher.h"
#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"
#include "support/seconds.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

int checkArguments(const Json::Value& jTask, const Json::Value& jEvent, const OrvaJsonDbApi* pApi,
                   const OrvaJsonDbApi* pApiResult, const sqlite3* pDb) {
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF(jEvent.type() != Json::objectValue);
  FAIL_IF(!pApi);
  FAIL_IF(!pApiResult);
  FAIL_IF(!pDb);
  return 0;
}

Json::Value newRunRecord(const Json::Value& jTask, const Json::Value& jEvent) {
  Json::Value jResult(Json::objectValue);
  jResult["task_name"] = memberOf(jTask, "task_name");
  jResult["event_fire_time"] = memberOf(jEvent, "event_fire_time");
  jResult["start_time"] = jsonSeconds(currentSeconds());
  jResult["exit_info"] = Json::Value(Json::objectValue);
  jResult["trigger_event"] = memberOf(jEvent, "trigger_event");
  jResult["run_time_env"] = memberOf(jEvent, "run_time_env");
  jResult["extra"] = Json::Value(Json::objectValue);
  return jResult;
}

void markStarted(Json::Value& jTask, const Json::Value& jResult, int pid) {
  jTask["last_start_time"] = memberOf(jResult, "start_time");
  jTask["last_stop_time"] = 0;
  jTask["last_exit_info"] = Json::Value(Json::objectValue);
  if (!jTask["status"].isObject()) {
    jTask["status"] = Json::Value(Json::objectValue);
  }
  Json::Value& jRunning = jTask["status"]["running"];
  if (!jRunning.isArray()) {
    jRunning = Json::Value(Json::arrayValue);
  }
  jRunning.append(pid);
}

// The child runs already, and a failure here does not end it.
int recordRun(Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, int pid, Json::Value& jResult) {
  jResult["pid"] = pid;
  Json::Value jResultOut;
  FAIL_IF(0 > pApiResult->recCreate(jResult, jResultOut));
  jResult = jResultOut;
  markStarted(jTask, jResult, pid);
  const Json::Value jFilter = taskFilter(jTask);
  FAIL_IF(0 > pApi->recUpdateByFilter(jFilter, jTask));
  return pid;
}

int admitAndRun(Json::Value& jTask, Json::Value& jEvent, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb,
                Json::Value& jConfig, Json::Value& jResult) {
  if (0 > checkArguments(jTask, jEvent, pApi, pApiResult, pDb)) {
    return -1;
  }
  const int ret = checkRunTheSameTime(jTask, pApi);
  FAIL_IF_AS(-1 == ret, "-1 == (ret = checkRunTheSameTime(jTask, pApi))");
  if (RUN_BLOCKED == ret) {
    if (memberOf(jTask, "task_name").isString()) {
      LOG_DEBUG("task=%s is running, should run the same", jTask["task_name"].asCString());
    }
    return 0;
  }
  jResult = newRunRecord(jTask, jEvent);
  const int pid = forkRunCmd(jTask, jConfig, jResult);
  FAIL_IF_AS(0 >= pid, "0 >= (pid = forkRunCmd(jTask, jConfig, jResult))");
  return recordRun(jTask, pApi, pApiResult, pid, jResult);
}

// Keeps the live pids in their order, and tells whether one of them blocks the run.
int keepLive(const Json::Value& jRunning, bool blRunTheSameTime, Json::Value& jLive, bool& blBlocked) {
  for (const Json::Value& jPid : jRunning) {
    FAIL_IF_AS(!isInt64Like(jPid), "!jStatus[\"running\"][i].isInt64()");
    const Json::Int64 pid = jPid.asInt64();
    if (0 > pid) {
      LOG_ERROR("0 > pid");
      continue;
    }
    if (pid > std::numeric_limits<pid_t>::max() || 1 != KLIBCProcAlive(static_cast<pid_t>(pid))) {
      continue;
    }
    jLive.append(jPid);
    if (!blRunTheSameTime) {
      LOG_ERROR("cannot run now, same task running pid=%d", static_cast<int>(pid));
      blBlocked = true;
    }
  }
  return 0;
}

int storeLive(Json::Value& jTask, OrvaJsonDbApi* pApi, const Json::Value& jLive) {
  jTask["status"]["running"] = jLive;
  const Json::Value jFilter = taskFilter(jTask);
  FAIL_IF(0 > pApi->recUpdateByFilter(jFilter, jTask));
  return 0;
}

int checkRunning(Json::Value& jTask, OrvaJsonDbApi* pApi) {
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF(!jTask.isMember("run_the_same_time"));
  FAIL_IF(!jTask["run_the_same_time"].isBool());
  if (!jTask.isMember("status")) {
    jTask["status"]["running"] = Json::Value(Json::arrayValue);
    LOG_DEBUG("no status, can run");
    return 0;
  }
  FAIL_IF(jTask["status"].type() != Json::objectValue && jTask["status"].type() != Json::arrayValue &&
          jTask["status"].type() != Json::nullValue);
  const Json::Value jStatus = jTask["status"];
  if (!hasMember(jStatus, "running")) {
    return 0;
  }
  FAIL_IF(jStatus["running"].type() != Json::arrayValue);
  Json::Value jLive(Json::arrayValue);
  bool blBlocked = false;
  if (0 > keepLive(jStatus["running"], jTask["run_the_same_time"].asBool(), jLive, blBlocked)) {
    return -1;
  }
  const int iVerdict = blBlocked ? RUN_BLOCKED : 0;
  if (jLive.size() == jStatus["running"].size()) {
    return iVerdict;
  }
  // If storing fails, a blocked run is still reported as blocked; only an allowed run becomes a failure.
  const int iStored = storeLive(jTask, pApi, jLive);
  return 0 > iStored && !blBlocked ? -1 : iVerdict;
}

}  // namespace

int runTask(Json::Value& jTask, Json::Value& jEvent, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb,
            Json::Value& jConfig, Json::Value& jResult) {
  return GUARDED([&] { return admitAndRun(jTask, jEvent, pApi, pApiResult, pDb, jConfig, jResult); });
}

int checkRunTheSameTime(Json::Value& jTask, OrvaJsonDbApi* pApi) {
  return GUARDED_WITH_LAST_LINE([&] { return checkRunning(jTask, pApi); },
                                [&] { LOG_ERROR("jTask=%s", toString(jTask).c_str()); });
}
