#include "pauses.h"

#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

namespace {

std::function<bool()> g_action;

/// Pauses of the action itself are made.
bool isPauseDone() {
  if (!g_action) {
    return false;
  }
  std::function<bool()> action = std::exchange(g_action, nullptr);
  const bool blDone = action();
  g_action = std::move(action);
  return blDone;
}

}  // namespace

extern "C" int clock_nanosleep(clockid_t clock, int iFlags, const timespec* pPause, timespec* pRest) {
  return isPauseDone() ? 0 : static_cast<int>(-syscall(SYS_clock_nanosleep, clock, iFlags, pPause, pRest));
}

extern "C" int nanosleep(const timespec* pPause, timespec* pRest) {
  return isPauseDone() ? 0 : static_cast<int>(syscall(SYS_nanosleep, pPause, pRest));
}

namespace HostTest {

void insteadOfPausing(std::function<bool()> action) {
  g_action = std::move(action);
}

}  // namespace HostTest
