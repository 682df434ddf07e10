#include <csignal>

#include "orva_platform.h"

#include "support/boundary.h"

// A zombie counts as alive: its id cannot be used again yet, and its parent has not closed its run. EPERM means that
// the process exists and belongs to another user.
extern "C" int KLIBCProcAlive(pid_t pid) {
  return orva::guarded([&] { return pid > 0 && (kill(pid, 0) == 0 || errno == EPERM) ? 1 : 0; });
}
