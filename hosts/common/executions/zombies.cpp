#include "zombies.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Host {

namespace {

/// Fewer zombies are left alone.
constexpr std::size_t MANY = 50;

int reapSignal() {
  constexpr int OFFSET = 7;
  return SIGRTMIN + OFFSET;
}

/// The owner of the task can send this signal, too. That only falsifies the end of his own script.
void reapOne(int, siginfo_t* pInfo, void*) {
  const int iError = errno;
  waitpid(pInfo->si_value.sival_int, nullptr, WNOHANG);
  errno = iError;
}

bool askToReap(const Process& process, pid_t pid) {
  siginfo_t info{};
  info.si_signo = reapSignal();
  info.si_code = SI_QUEUE;
  info.si_pid = getpid();
  info.si_value.sival_int = pid;
  return syscall(SYS_pidfd_send_signal, process.fd(), info.si_signo, &info, 0) == 0;
}

}  // namespace

void reapOnRequest() {
  struct sigaction action{};
  action.sa_sigaction = &reapOne;
  action.sa_flags = SA_SIGINFO | SA_RESTART;
  sigaction(reapSignal(), &action, nullptr);
}

void tidyOrphans(const Process& process, const ProcessTable& table) {
  std::vector<ProcessStatus> vecChildren;
  for (const auto& [pid, status] : table.childrenOf(process.pid())) {
    vecChildren.push_back(status);
  }
  if (vecChildren.size() < MANY) {
    return;
  }
  // The oldest child is the script; the process of the run waits for it.
  std::swap(vecChildren.front(), *std::min_element(vecChildren.begin(), vecChildren.end(),
                                                   [](const ProcessStatus& left, const ProcessStatus& right) {
                                                     return left.ticksStart < right.ticksStart;
                                                   }));
  for (std::size_t i = 1; i < vecChildren.size(); ++i) {
    if (vecChildren[i].isEnded() && !askToReap(process, vecChildren[i].pid)) {
      return;
    }
  }
}

}  // namespace Host
