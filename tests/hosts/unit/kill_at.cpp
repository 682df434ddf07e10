#include "kill_at.h"

#include <algorithm>
#include <csignal>
#include <stdexcept>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace HostTest {

namespace {

constexpr long CHANGES[] = {SYS_write,     SYS_pwrite64, SYS_openat,   SYS_ftruncate, SYS_fsync,
                            SYS_fdatasync, SYS_rename,   SYS_renameat, SYS_renameat2, SYS_unlink,
                            SYS_unlinkat,  SYS_fchmod,   SYS_fchown};
constexpr int SYSCALL_STOP = SIGTRAP | 0x80;

[[noreturn]] void runTraced(const std::function<void()>& fnWhat) {
  ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  raise(SIGSTOP);
  try {
    fnWhat();
  } catch (...) {
    _exit(1);
  }
  _exit(0);
}

/// Tells whether the child is about to make a call that changes a file.
bool isChange(pid_t pid) {
  __ptrace_syscall_info info{};
  return ptrace(static_cast<__ptrace_request>(PTRACE_GET_SYSCALL_INFO), pid, sizeof(info), &info) > 0 &&
         info.op == PTRACE_SYSCALL_INFO_ENTRY &&
         std::find(std::begin(CHANGES), std::end(CHANGES), static_cast<long>(info.entry.nr)) != std::end(CHANGES);
}

int wait(pid_t pid) {
  int iStatus = 0;
  if (waitpid(pid, &iStatus, 0) != pid) {
    throw std::runtime_error("cannot wait for the traced process");
  }
  return iStatus;
}

}  // namespace

unsigned killAt(unsigned iStep, const std::function<void()>& fnWhat) {
  const pid_t pid = fork();
  if (pid == 0) {
    runTraced(fnWhat);
  }
  wait(pid);
  ptrace(PTRACE_SETOPTIONS, pid, nullptr, PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL);
  unsigned cSteps = 0;
  int iSignal = 0;
  for (;;) {
    ptrace(PTRACE_SYSCALL, pid, nullptr, iSignal);
    const int iStatus = wait(pid);
    if (!WIFSTOPPED(iStatus)) {
      return cSteps;
    }
    iSignal = WSTOPSIG(iStatus) == SYSCALL_STOP ? 0 : WSTOPSIG(iStatus);
    if (iSignal == 0 && isChange(pid) && ++cSteps == iStep) {
      kill(pid, SIGKILL);
      wait(pid);
      return cSteps;
    }
  }
}

}  // namespace HostTest
