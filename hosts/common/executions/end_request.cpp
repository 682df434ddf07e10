#include "end_request.h"

#include <csignal>

namespace Host {

namespace {

volatile std::sig_atomic_t g_iAsked = 0;

}  // namespace

void listenToEndRequests() {
  std::signal(SIGTERM, [](int) { g_iAsked = 1; });
}

bool isAskedToEnd() {
  return g_iAsked != 0;
}

}  // namespace Host
