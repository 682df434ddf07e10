#include "deferred_signals.h"

#include <array>

namespace Host {

DeferredSignals::DeferredSignals(Signals signals) {
  sigset_t set;
  signals == Signals::ALL ? sigfillset(&set) : sigemptyset(&set);
  for (const int iSignal : std::array{SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    sigaddset(&set, iSignal);
  }
  pthread_sigmask(SIG_BLOCK, &set, &m_before);
}

DeferredSignals::~DeferredSignals() {
  pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

}  // namespace Host
