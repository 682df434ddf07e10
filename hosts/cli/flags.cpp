/// The two flags that the library reads and a program has to define; the library must be able to see them.

#include "eorvascheduler.h"

#include "context.h"

__attribute__((visibility("default"))) bool blLogToStdout = false;
__attribute__((visibility("default"))) bool blDebugOutput = false;

bool Context::isLogShown() {
  return blLogToStdout;
}
