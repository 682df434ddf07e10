/// The two flags that the library reads and a program has to define.

#include "eorvascheduler.h"

__attribute__((visibility("default"))) bool blLogToStdout = false;
__attribute__((visibility("default"))) bool blDebugOutput = false;
