// The end of a run, in both tables.

#pragma once

#include <json/value.h>

struct sqlite3;
class OrvaJsonDbApi;

// Reads and deletes the run's exit-code file, gives the run record `stop_time` and `exit_info`, and takes the
// run off its task's running list. jTask (with `task_name` and `strExitCode_tmp`) is replaced by the task as it
// is then stored; jResult, the run record, is completed. 0, or -1 with nothing undone.
int updateTaskResultByExitStatus(Json::Value& jTask, OrvaJsonDbApi* pApi, OrvaJsonDbApi* pApiResult, sqlite3* pDb,
                                 Json::Value& jResult);
