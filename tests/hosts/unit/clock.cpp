#include "clock.h"

#include <ctime>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

std::time_t g_forward = 0;
std::time_t g_wallForward = 0;

}  // namespace

extern "C" __attribute__((visibility("default"))) int clock_gettime(clockid_t clock, timespec* pTime) {
  const auto iResult = static_cast<int>(syscall(SYS_clock_gettime, clock, pTime));
  if (iResult == 0 && clock == CLOCK_MONOTONIC) {
    pTime->tv_sec += g_forward;
  } else if (iResult == 0 && clock == CLOCK_REALTIME) {
    pTime->tv_sec += g_wallForward;
  }
  return iResult;
}

extern "C" __attribute__((visibility("default"))) std::time_t time(std::time_t* pTime) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  if (pTime != nullptr) {
    *pTime = now.tv_sec;
  }
  return now.tv_sec;
}

namespace HostTest {

void setClockForward(std::chrono::seconds time) {
  g_forward += time.count();
}

void setWallClock(std::time_t time) {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  g_wallForward += time - now.tv_sec;
}

}  // namespace HostTest
