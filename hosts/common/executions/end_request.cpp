#include "end_request.h"

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

}  // namespace Host
