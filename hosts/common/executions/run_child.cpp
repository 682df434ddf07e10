#include "run_child.h"

#include <array>
#include <charconv>
#include <pthread.h>
#include <sys/prctl.h>
#include <unistd.h>
#include <utility>

#include "common/runs/run_process.h"
#include "zombies.h"

namespace Host {

namespace {

/// Where children report themselves; only set in the process of an execution.
int g_fdReport = -1;
int g_fdCloseToo = -1;

/// Called first in the process of a run.
void beginRun() {
  if (g_fdReport < 0) {
    return;
  }
  std::array<char, 16> szLine{};
  char* pEnd = std::to_chars(szLine.data(), szLine.data() + szLine.size() - 1, getpid()).ptr;
  *pEnd++ = '\n';
  // One short write in append mode, so that lines of several children do not mix. After a failure, the run is
  // identified by its process alone.
  [[maybe_unused]] const ssize_t cb = write(g_fdReport, szLine.data(), static_cast<std::size_t>(pEnd - szLine.data()));
  close(std::exchange(g_fdReport, -1));
  close(std::exchange(g_fdCloseToo, -1));
  // A script that ends "its process group" must not end other runs, or the execution itself.
  setsid();
  // All processes of the script stay below this one, also when their parents end, and can be found.
  prctl(PR_SET_CHILD_SUBREAPER, 1);
  reapOnRequest();
}

}  // namespace

void reportChildrenTo(int fd, int fdCloseToo) {
  g_fdReport = fd;
  g_fdCloseToo = fdCloseToo;
  // So that children have the name from their first moment.
  pthread_atfork(takeRunName, takeHostName, beginRun);
}

}  // namespace Host
