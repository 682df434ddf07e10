#include "run_process.h"

#include <fmt/format.h>
#include <fstream>
#include <optional>
#include <string>
#include <sys/prctl.h>

#include "process.h"

namespace Host {

namespace {

constexpr char HOST_NAME[] = "eorva";
constexpr char RUN_NAME[] = "eorva-run";

bool hasLibraryLoaded(pid_t pid) {
  std::ifstream maps(fmt::format("/proc/{}/maps", pid));
  for (std::string strLine; std::getline(maps, strLine);) {
    if (strLine.find("/libeorvascheduler.so.") != std::string::npos) {
      return true;
    }
  }
  return false;
}

}  // namespace

void takeHostName() {
  prctl(PR_SET_NAME, HOST_NAME);
}

void takeRunName() {
  prctl(PR_SET_NAME, RUN_NAME);
}

bool isRunProcess(pid_t pid) {
  const bool blLoaded = hasLibraryLoaded(pid);
  // Asked afterwards: one that has ended meanwhile, and waits for its parent, shows no more what it had loaded. Its
  // parent, which is about to close the run, does.
  const std::optional<ProcessStatus> status = processStatus(pid);
  return status && status->strName != HOST_NAME &&
         (blLoaded || (status->isEnded() && hasLibraryLoaded(status->pidParent)));
}

}  // namespace Host
