#include "service_process.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <sys/prctl.h>
#include <sys/wait.h>

#include "common/config/settings.h"
#include "common/support/process.h"
#include "leftovers.h"

namespace Host {

namespace {

sigset_t signals(bool blWithChildren) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGTERM);
  if (blWithChildren) {
    sigaddset(&set, SIGCHLD);
  }
  return set;
}

/// Collects zombies. \return false when no child is left.
bool collectChildren() {
  pid_t pid = 0;
  while ((pid = waitpid(-1, nullptr, WNOHANG)) > 0) {
  }
  return pid == 0;
}

}  // namespace

ServiceProcess::ServiceProcess() {
  const sigset_t set = signals(true);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  prctl(PR_SET_CHILD_SUBREAPER, 1);
}

bool ServiceProcess::isAskedToEnd() {
  const sigset_t set = signals(false);
  const timespec none{};
  return sigtimedwait(&set, nullptr, &none) == SIGTERM;
}

void ServiceProcess::waitForRest() {
  const sigset_t set = signals(true);
  while (collectChildren()) {
    if (sigwaitinfo(&set, nullptr) == SIGTERM) {
      endLeftovers(graceSetting(), KILL_LIMIT);
      return;
    }
  }
}

int runAsService(const std::function<int(ServiceProcess&)>& fnRun) {
  ServiceProcess service;
  try {
    const int iResult = fnRun(service);
    std::fflush(nullptr);
    service.waitForRest();
    return iResult;
  } catch (const std::exception&) {
    service.waitForRest();
    throw;
  }
}

}  // namespace Host
