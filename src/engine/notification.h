// Mails that a run has ended.

#pragma once

#include <json/value.h>

// Mails the task's recipients, if the task wants mail for this outcome. jTask is the task after the run was closed,
// jResult the closed run record, jConfig the scheduler's section. Returns 0, also when no mail is wanted; -1 on
// failure.
int notifyCompletion(Json::Value& jTask, Json::Value& jResult, Json::Value& jConfig);
