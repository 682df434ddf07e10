// Runs a script in a child process.

#pragma once

#include <json/value.h>

// Starts the script of jTask. Returns the child's pid, or -1 when it was not started. jTask gets the paths of the run's
// temporary files: `strExitCode_tmp` and, if used, `strScriptName_tmp` and `strOutputPath_tmp`. jConfig is the
// scheduler's section, jResult the run record with `start_time`; both are only read.
//
// Caution: a child that cannot write its script also returns -1 from here.
int forkRunCmd(Json::Value& jTask, Json::Value& jConfig, Json::Value& jResult);
