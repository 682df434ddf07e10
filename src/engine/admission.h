// Decides whether a task may start, and records the run.

#pragma once

#include <json/value.h>

struct sqlite3;
class OrvaJsonDbApi;

// A result of checkRunTheSameTime(), besides 0 and -1.
constexpr int RUN_BLOCKED = -2;

// Starts a run of jTask. Returns the child's pid; 0 when an earlier run is alive and the task allows no second run; -1
// on failure, also when the child runs but could not be recorded. Afterwards jTask and jResult are the stored task and
// run record.
int runTask(Json::Value& jTask, Json::Value& jEvent, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb,
            Json::Value& jConfig, Json::Value& jResult);

// Removes runs whose process no longer exists from the task's running list. 0: may run; #RUN_BLOCKED: a run is alive;
// -1: failure.
int checkRunTheSameTime(Json::Value& jTask, OrvaJsonDbApi* pApi);
