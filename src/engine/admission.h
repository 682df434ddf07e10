// Whether a task may start now, and the records of a run that did.

#pragma once

#include <json/value.h>

struct sqlite3;
class OrvaJsonDbApi;

// Result of checkRunTheSameTime() besides 0 and -1.
constexpr int RUN_BLOCKED = -2;

// Starts a run of jTask: returns the child's pid; 0 when an earlier run is alive and the task does not allow two at
// the same time; -1 on failure, also when the child runs but could not be recorded. Afterwards jTask and jResult hold
// the stored task and run record.
int runTask(Json::Value& jTask, Json::Value& jEvent, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb,
            Json::Value& jConfig, Json::Value& jResult);

// Takes runs whose process is gone off the task's running list. 0: may run; #RUN_BLOCKED: a live run is in the way;
// -1: failure.
int checkRunTheSameTime(Json::Value& jTask, OrvaJsonDbApi* pApi);
