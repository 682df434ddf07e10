// Finds the tasks whose prerequisites have all ended.

#include "engine/readiness.h"

#include <algorithm>

#include "eorvascheduler.h"

#include "catalogue/depend_list.h"
#include "catalogue/records.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/json_read.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

using Completed = std::vector<Json::Value>;

int checkArguments(const Json::Value& jTask, const OrvaJsonDbApi* pApi, const OrvaJsonDbApi* pApiResult,
                   const sqlite3* pDb, const Json::Value& jTaskArrayOut) {
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF(!pApi);
  FAIL_IF(!pApiResult);
  FAIL_IF(!pDb);
  FAIL_IF(jTaskArrayOut.type() != Json::arrayValue);
  return 0;
}

// A task that must not start is skipped, with a log line if its record is invalid.
bool isCandidate(const Json::Value& jCandidate) {
  if (hasMember(jCandidate, "enable")) {
    if (!jCandidate["enable"].isBool()) {
      LOG_ERROR("!jArray[i][\"enable\"].isBool()");
      return false;
    }
    if (!jCandidate["enable"].asBool()) {
      return false;
    }
  }
  if (!hasMember(jCandidate, "depend_on_task")) {
    return false;
  }
  if (!jCandidate["depend_on_task"].isString()) {
    LOG_ERROR("!jArray[i][\"depend_on_task\"].isString()");
    return false;
  }
  if (jCandidate["depend_on_task"].asString().empty()) {
    LOG_ERROR("strTaskDepend.empty()");
    return false;
  }
  return true;
}

// Complete means reaped in this execution, also after a failure.
bool isComplete(const std::string& strName, const Json::Value& jTask, const Completed& qComplete) {
  const Json::Value jName(strName);
  return memberOf(jTask, "task_name") == jName ||
         std::any_of(qComplete.begin(), qComplete.end(),
                     [&](const Json::Value& jDone) { return memberOf(jDone, "task_name") == jName; });
}

bool areComplete(const std::vector<std::string>& names, const std::string& strTaskName, const Json::Value& jTask,
                 const Completed& qComplete) {
  for (const std::string& strName : names) {
    LOG_DEBUG("task=%s checking depend=%s", strTaskName.c_str(), strName.c_str());
    if (!isComplete(strName, jTask, qComplete)) {
      LOG_DEBUG("task[%s] wait for task[%s]", strTaskName.c_str(), strName.c_str());
      return false;
    }
  }
  return true;
}

int checkReady(const Json::Value& jCandidate, const Json::Value& jTask, const Completed& qComplete, bool& blReady) {
  std::vector<std::string> names;
  if (0 > parseDependList(jCandidate["depend_on_task"].asString(), names)) {
    return -1;
  }
  const std::string strTaskName = textOf(memberOf(jCandidate, "task_name"));
  blReady = areComplete(names, strTaskName, jTask, qComplete);
  LOG_DEBUG(blReady ? "task=%s is ready to run" : "task=%s is not ready to run", strTaskName.c_str());
  return 0;
}

int appendReady(const Completed& qComplete, Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult,
                sqlite3* pDb, Json::Value& jTaskArrayOut) {
  if (0 > checkArguments(jTask, pApi, pApiResult, pDb, jTaskArrayOut)) {
    return -1;
  }
  Json::Value jFilter = taskFilter(jTask);
  Json::Value jArray(Json::arrayValue);
  FAIL_IF_AS(0 > recListRelateEx(pApi, jFilter, jArray, pDb, false, std::string(), false),
             "0 > recListRelateEx(pApi, jFilter, jArray, pDb, false, string(\"\") , false)");
  int iReady = 0;
  for (const Json::Value& jCandidate : jArray) {
    bool blReady = false;
    if (isCandidate(jCandidate) && 0 > checkReady(jCandidate, jTask, qComplete, blReady)) {
      return -1;
    }
    if (blReady) {
      jTaskArrayOut.append(jCandidate);
      iReady = static_cast<int>(jTaskArrayOut.size());
    }
  }
  return iReady;
}

}  // namespace

int getNextReadyTask(std::vector<Json::Value> qComplete, Json::Value& jTask, OrvaJsonDbApi* pApi,
                     OrvaJsonDbApi* pApiResult, sqlite3* pDb, Json::Value& jTaskArrayOut) {
  return GUARDED([&] { return appendReady(qComplete, jTask, pApi, pApiResult, pDb, jTaskArrayOut); });
}
