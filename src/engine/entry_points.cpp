// The entry points of an execution: an event, or one task on demand.

#include "eorvascheduler.h"
#include "orva_platform.h"

#include "engine/runner.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/seconds.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_LIB;

Json::Value newEvent(const std::string& strTrigger) {
  Json::Value jEvent(Json::objectValue);
  jEvent["event_fire_time"] = jsonSeconds(currentSeconds());
  jEvent["trigger_event"] = strTrigger;
  jEvent["run_time_env"] = Json::Value(Json::objectValue);
  return jEvent;
}

int runEvent(OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, const Json::Value& jIn, sqlite3* pDb) {
  FAIL_IF(jIn.type() != Json::objectValue);
  FAIL_IF(!jIn.isMember("event"));
  FAIL_IF(!jIn["event"].isString());
  const std::string strEvent = jIn["event"].asString();
  FAIL_IF(strEvent.empty());
  FAIL_IF(!pApi);
  // Only roots; a task that waits for others starts when they have ended.
  Json::Value jFilter(Json::objectValue);
  jFilter["event"] = strEvent;
  jFilter["depend_on_task"] = "";
  jFilter["enable"] = true;
  Json::Value jOutArray;
  FAIL_IF(0 > pApi->recList(jFilter, jOutArray));
  if (jOutArray.empty()) {
    LOG_DEBUG("no task only base on event=[%s]", strEvent.c_str());
    return 0;
  }
  Json::Value jEvent = newEvent(strEvent);
  FAIL_IF(0 > runTaskArray(jOutArray, jEvent, pApi, pApiResult, pDb, true));
  return 0;
}

int runOne(const Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb) {
  FAIL_IF(jTask.type() != Json::objectValue);
  FAIL_IF(!pApi);
  FAIL_IF(!pApiResult);
  FAIL_IF(!pDb);
  Json::Value jEvent = newEvent("on_demand");
  Json::Value jTaskList(Json::arrayValue);
  jTaskList.append(jTask);
  FAIL_IF(0 > runTaskArray(jTaskList, jEvent, pApi, pApiResult, pDb, false));
  return 0;
}

}  // namespace

int runByEvent(OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, Json::Value& jIn, sqlite3* pDb) {
  return GUARDED([&] { return runEvent(pApi, pApiResult, jIn, pDb); });
}

int runTaskOne(Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb) {
  return GUARDED([&] { return runOne(jTask, pApi, pApiResult, pDb); });
}
