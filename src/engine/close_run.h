// Closes a run in both tables.

#pragma once

#include <json/value.h>

struct sqlite3;
class OrvaJsonDbApi;

// Reads and deletes the run's exit-code file, sets `stop_time` and `exit_info` of the run record, and removes the run
// from its task's running list. jTask (with `task_name` and `strExitCode_tmp`) is replaced by the stored task; jResult,
// the run record, is completed. Returns 0, or -1 without undoing earlier steps.
int updateTaskResultByExitStatus(Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb,
                                 Json::Value& jResult);
