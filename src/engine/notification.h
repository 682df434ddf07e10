// The mail about a run that has ended.

#pragma once

#include <json/value.h>

// Mails the task's recipients, if the task wants it for this outcome. jTask is the task as the run's end left it,
// jResult its closed run record, jConfig the scheduler's section. 0, also when nothing was to be sent; -1 on failure.
int notifyCompletion(Json::Value& jTask, Json::Value& jResult, Json::Value& jConfig);
