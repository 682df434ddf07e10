#include "service_process.h"

#include <csignal>
#include <cstdio>
#include <exception>
#include <poll.h>
#include <string>
#include <vector>

#include "common/config/settings.h"
#include "common/runs/run_ending.h"
#include "common/support/control_group.h"
#include "common/support/file_alarm.h"
#include "common/support/process.h"
#include "end_request.h"
#include "execution_group.h"

namespace Host {

namespace {

volatile std::sig_atomic_t g_iAsked = 0;
volatile pid_t g_pidWatch = 0;

void passOn(int) {
  g_iAsked = 1;
  if (g_pidWatch > 0) {
    kill(g_pidWatch, SIGTERM);
  }
}

/// Waits until a group is empty. \return false when the service is to end.
bool waitUntilEmpty(const std::string& strGroup) {
  sigset_t term;
  sigset_t before;
  sigemptyset(&term);
  for (const int iSignal : END_SIGNALS) {
    sigaddset(&term, iSignal);
  }
  sigprocmask(SIG_BLOCK, &term, &before);
  sigset_t during = before;
  for (const int iSignal : END_SIGNALS) {
    sigdelset(&during, iSignal);
  }
  constexpr timespec NO_ALARM_PAUSE{1, 0};
  const FileAlarm alarm(strGroup + "/cgroup.events");
  while (g_iAsked == 0 && ControlGroup(strGroup).isPopulated()) {
    pollfd entry{alarm.fd(), POLLIN, 0};
    ppoll(&entry, 1, alarm.isOpen() ? nullptr : &NO_ALARM_PAUSE, &during);
    alarm.reset();
  }
  sigprocmask(SIG_SETMASK, &before, nullptr);
  return g_iAsked == 0;
}

}  // namespace

ServiceProcess::ServiceProcess() {
  std::signal(SIGTERM, &passOn);
  enterServiceGroup();
}

void ServiceProcess::passOnTo(pid_t pidWatch) {
  g_pidWatch = pidWatch;
  if (g_iAsked != 0 && pidWatch > 0) {
    kill(pidWatch, SIGTERM);
  }
}

void waitForRest(const std::string& strGroup) {
  g_pidWatch = 0;
  for (const int iSignal : END_SIGNALS) {
    std::signal(iSignal, &passOn);
  }
  for (std::vector<std::string> vecRuns = populatedRuns(strGroup); !vecRuns.empty();
       vecRuns = populatedRuns(strGroup)) {
    if (!waitUntilEmpty(vecRuns.front())) {
      std::vector<RunGroup> vecGroups;
      vecGroups.reserve(vecRuns.size());
      for (const std::string& strRun : vecRuns) {
        vecGroups.emplace_back(strRun, 0);
      }
      endRuns(vecGroups, graceSetting(), KILL_LIMIT);
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
