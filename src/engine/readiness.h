// Which tasks have nothing left to wait for.

#pragma once

#include <json/value.h>
#include <vector>

struct sqlite3;
class OrvaJsonDbApi;

// Appends the tasks that wait for jTask and whose every prerequisite is jTask or in qComplete, to an array. Returns
// the array's size after the last one, 0 when none was ready, -1 on failure (what was appended stays).
int getNextReadyTask(std::vector<Json::Value> qComplete, Json::Value& jTask, OrvaJsonDbApi* pApi,
                     OrvaJsonDbApi* pApiResult, sqlite3* pDb, Json::Value& jTaskArrayOut);
