// One run of a script, in a child process.

#pragma once

#include <json/value.h>

// Starts the script of jTask: returns the child's pid, or -1 when it was not started. jTask gains the paths of the
// run's temporary files (`strExitCode_tmp`, and `strScriptName_tmp` and `strOutputPath_tmp` as they apply).
// jConfig is the scheduler's section, jResult the run record with `start_time`; both are only read.
//
// Careful: a child that cannot write its script returns -1 from here, too.
int forkRunCmd(Json::Value& jTask, Json::Value& jConfig, Json::Value& jResult);
