// The loop of an execution.

#pragma once

#include <json/value.h>

struct sqlite3;
class OrvaJsonDbApi;

// Starts the tasks of an array, polls their children once a second until none is left, and closes each run when its
// child ends. With blRunDependants, it also starts dependants when they become ready. jTaskList is unchanged; jEvent is
// copied into every run record. Returns 0 when every child has been reaped, else -1.
int runTaskArray(Json::Value& jTaskList, Json::Value& jEvent, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult,
                 sqlite3* pDb, bool blRunDependants);
