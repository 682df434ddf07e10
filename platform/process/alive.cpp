#include <csignal>

#include "orva_platform.h"

#include "support/boundary.h"

// A process that has ended and waits for its parent to collect it still has its id, and counts as existing: the
// id cannot be given to another process yet, and its parent has not closed its run. EPERM comes from a process
// that exists and belongs to somebody else.
extern "C" int KLIBCProcAlive(pid_t pid) {
  return orva::guarded([&] { return pid > 0 && (kill(pid, 0) == 0 || errno == EPERM) ? 1 : 0; });
}
