#include "service_defaults.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <linux/keyctl.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "failure.h"
#include "priorities.h"
#include "unique_fd.h"

namespace Host {

namespace {

/// The limits that systemd sets for services itself. The others are those of the first process.
struct ServiceLimit {
  __rlimit_resource resource;
  rlim_t soft;
  rlim_t hard;
};

constexpr rlim_t SOFT_FILES = 1024;
constexpr rlim_t HARD_FILES = 524288;
constexpr rlim_t CB_LOCKED_MEMORY = 8U << 20U;

constexpr std::array<ServiceLimit, 3> SERVICE_LIMITS = {{
    {RLIMIT_NOFILE, SOFT_FILES, HARD_FILES},
    {RLIMIT_MEMLOCK, CB_LOCKED_MEMORY, CB_LOCKED_MEMORY},
    {RLIMIT_CORE, 0, RLIM_INFINITY},
}};

/// A container may not be allowed to set them; then it is the container that limits scripts.
void require(bool blDone, const char* szWhat) {
  if (!blDone && errno != EPERM && errno != EACCES) {
    throw Failure(fmt::format("cannot set {} of the execution: {}", szWhat, std::strerror(errno)));
  }
}

rlimit limitOf(__rlimit_resource resource, pid_t pid) {
  rlimit limit{};
  require(prlimit(pid, resource, nullptr, &limit) == 0, "the limits");
  return limit;
}

/// That of the first process. A container may not let us see it.
rlimit standardLimit(__rlimit_resource resource) {
  constexpr pid_t FIRST = 1;
  rlimit limit{};
  return prlimit(FIRST, resource, nullptr, &limit) == 0 ? limit : limitOf(resource, getpid());
}

/// Where the hard limit cannot be raised, the soft one still can.
void setLimit(__rlimit_resource resource, rlimit limit) {
  if (setrlimit(resource, &limit) == 0) {
    return;
  }
  const rlim_t most = limitOf(resource, getpid()).rlim_max;
  limit = {std::min(limit.rlim_cur, most), std::min(limit.rlim_max, most)};
  require(setrlimit(resource, &limit) == 0, "the limits");
}

void takeLimits() {
  for (int iResource = 0; iResource < static_cast<int>(RLIM_NLIMITS); ++iResource) {
    const auto resource = static_cast<__rlimit_resource>(iResource);
    setLimit(resource, standardLimit(resource));
  }
  for (const ServiceLimit& limit : SERVICE_LIMITS) {
    setLimit(limit.resource, {limit.soft, limit.hard});
  }
}

void takeScheduling() {
  const sched_param none{};
  require(sched_setscheduler(0, SCHED_OTHER, &none) == 0, "the scheduling policy");
  require(setpriority(PRIO_PROCESS, 0, 0) == 0, "the priority");
  require(setIoPriority(0), "the I/O priority");
  // The kernel leaves out the processors that it must not use.
  cpu_set_t all;
  std::memset(&all, 0xff, sizeof all);
  require(sched_setaffinity(0, sizeof all, &all) == 0, "the processors");
  // 0 would stand for that of the process that has forked this one.
  constexpr unsigned long NANOSECONDS = 50000;
  prctl(PR_SET_TIMERSLACK, NANOSECONDS);
}

void takeMemoryScore() {
  const UniqueFd fd(open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC));
  require(fd.isOpen() && write(fd.get(), "0", 1) == 1, "the score for the lack of memory");
}

void setSoftFiles(rlim_t soft) {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) == 0) {
    limit.rlim_cur = std::min(soft, limit.rlim_max);
    setrlimit(RLIMIT_NOFILE, &limit);
  }
}

/// The form that the kernel wants. The C library keeps two signals for itself: its own functions do not reset them, and
/// its system() leaves them ignored.
struct KernelAction {
  void (*pfnHandler)(int);
  unsigned long iFlags;
  void (*pfnRestore)();
  std::uint64_t mask;
};

}  // namespace

void takeDefaultLimits() {
  takeLimits();
  takeScheduling();
  takeMemoryScore();
}

void allowManyFiles() {
  setSoftFiles(HARD_FILES);
}

void allowDefaultFiles() {
  setSoftFiles(SOFT_FILES);
}

void takeDefaultSignals() {
  const KernelAction standard{};
  for (int iSignal = 1; iSignal < NSIG; ++iSignal) {
    // This fails for KILL and STOP, which need no reset.
    syscall(SYS_rt_sigaction, iSignal, &standard, nullptr, sizeof standard.mask);
  }
  const std::uint64_t none = 0;
  syscall(SYS_rt_sigprocmask, SIG_SETMASK, &none, nullptr, sizeof none);
}

bool takeNewKeyring() {
  const long iKeyring = syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr);
  // Where there are no keyrings, as in many containers, there is none to inherit.
  return iKeyring >= 0 || errno == ENOSYS || errno == EPERM;
}

}  // namespace Host
