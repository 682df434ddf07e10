#include "end_request.h"

#include <poll.h>

namespace Host {

namespace {

volatile std::sig_atomic_t g_iAsked = 0;

}  // namespace

void listenToEndRequests() {
  for (const int iSignal : END_SIGNALS) {
    std::signal(iSignal, [](int) { g_iAsked = 1; });
  }
}

bool isAskedToEnd() {
  return g_iAsked != 0;
}

bool sleepUntil(std::chrono::steady_clock::time_point time, int fd) {
  // A request between the question and the sleep must not be missed.
  sigset_t requests;
  sigset_t before;
  sigemptyset(&requests);
  for (const int iSignal : END_SIGNALS) {
    sigaddset(&requests, iSignal);
  }
  sigprocmask(SIG_BLOCK, &requests, &before);
  pollfd entry{fd, POLLIN, 0};
  int cReady = 0;
  for (auto left = time - std::chrono::steady_clock::now(); !isAskedToEnd() && cReady <= 0 && left.count() > 0;
       left = time - std::chrono::steady_clock::now()) {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(left);
    const timespec pause{seconds.count(), std::chrono::nanoseconds(left - seconds).count()};
    cReady = ppoll(&entry, 1, &pause, &before);
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return !isAskedToEnd();
}

}  // namespace Host
