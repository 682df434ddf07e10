#include "default_signals.h"

#include <csignal>
#include <cstdint>
#include <sys/syscall.h>
#include <unistd.h>

namespace Host {

namespace {

/// The form that the kernel wants. The C library keeps two signals for itself: its own functions do not reset them, and
/// its system() leaves them ignored.
struct KernelAction {
  void (*pfnHandler)(int);
  unsigned long iFlags;
  void (*pfnRestore)();
  std::uint64_t mask;
};

}  // namespace

void takeDefaultSignals() {
  const KernelAction standard{};
  for (int iSignal = 1; iSignal < NSIG; ++iSignal) {
    // This fails for KILL and STOP, which need no reset.
    syscall(SYS_rt_sigaction, iSignal, &standard, nullptr, sizeof standard.mask);
  }
  const std::uint64_t none = 0;
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, sizeof none);
}

}  // namespace Host
