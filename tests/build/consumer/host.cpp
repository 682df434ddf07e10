// The smallest host: it defines the two flags and calls across the boundary.
#include <cstdio>
#include <eorvascheduler.h>
#include <orva_platform.h>

bool blLogToStdout = true;
bool blDebugOutput = false;

int main() {
  std::printf("%s %d\n", myto_string(-42).c_str(), KLIBCProcAlive(0));
  return 0;
}
