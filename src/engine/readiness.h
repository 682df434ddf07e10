// Finds the tasks whose prerequisites have all ended.

#pragma once

#include <json/value.h>
#include <vector>

struct sqlite3;
class OrvaJsonDbApi;

// Appends to an array the tasks that wait for jTask and whose every prerequisite is jTask or in qComplete. Returns the
// array's size, 0 when no task was ready, -1 on failure (appended tasks stay).
int getNextReadyTask(std::vector<Json::Value> qComplete, Json::Value& jTask, OrvaJsonDbApi* pApi,
                     OrvaJsonDbApi* pApiResult, sqlite3* pDb, Json::Value& jTaskArrayOut);
