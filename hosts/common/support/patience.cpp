#include "patience.h"

#include <array>

namespace Host {

Patience::Patience() {
  sigset_t set;
  sigemptyset(&set);
  for (const int iSignal : std::array{SIGINT, SIGTERM, SIGHUP, SIGQUIT}) {
    sigaddset(&set, iSignal);
  }
  pthread_sigmask(SIG_BLOCK, &set, &m_before);
}

Patience::~Patience() {
  pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

}  // namespace Host
