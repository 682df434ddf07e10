#include "clean_process.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <linux/capability.h>
#include <string>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>

#include "common/support/paths.h"
#include "common/support/service_defaults.h"

namespace Host {

namespace {

void require(bool blDone, const char* szWhat) {
  if (!blDone) {
    std::perror(szWhat);
    _exit(1);
  }
}

void resetSignals() {
  takeDefaultSignals();
  // Harmless here: the reader of the messages may end, and a file may become too large. Caught, not ignored, so that
  // scripts get the default.
  for (const int iSignal : {SIGPIPE, SIGXFSZ}) {
    std::signal(iSignal, [](int) {});
  }
}

void dropInheritableCapabilities() {
  require(prctl(PR_CAP_AMBIENT, PR_CAP_AMBIENT_CLEAR_ALL, 0, 0, 0) == 0, "eorva: ambient capabilities");
  __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
  std::array<__user_cap_data_struct, _LINUX_CAPABILITY_U32S_3> data{};
  require(syscall(SYS_capget, &header, data.data()) == 0, "eorva: capabilities");
  for (__user_cap_data_struct& word : data) {
    word.inheritable = 0;
  }
  require(syscall(SYS_capset, &header, data.data()) == 0, "eorva: capabilities");
}

/// Moves the descriptors to FIRST_KEPT and up; first to higher numbers, since the numbers may be in use.
void renumber(std::vector<int> vecKeep) {
  const int fdEnd = FIRST_KEPT + static_cast<int>(vecKeep.size());
  for (int& fd : vecKeep) {
    fd = fcntl(fd, F_DUPFD_CLOEXEC, fdEnd);
    require(fd >= 0, "eorva: F_DUPFD_CLOEXEC");
  }
  for (int fd = FIRST_KEPT; fd < fdEnd; ++fd) {
    require(dup3(vecKeep[static_cast<std::size_t>(fd - FIRST_KEPT)], fd, O_CLOEXEC) == fd, "eorva: dup3");
  }
  require(close_range(static_cast<unsigned>(fdEnd), ~0U, 0) == 0, "eorva: close_range");
}

/// The standard descriptors last: until then, failures can be told.
void closeDescriptors(const std::vector<int>& vecKeep) {
  renumber(vecKeep);
  const int fdNull = open("/dev/null", O_RDWR | O_CLOEXEC);
  require(fdNull >= 0, "eorva: /dev/null");
  for (const int fd : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    require(dup2(fdNull, fd) == fd, "eorva: /dev/null");
  }
  close(fdNull);
}

void setEnvironment(const ExecutionRequest& request) {
  constexpr std::array<std::pair<const char*, const char*>, 6> FIXED = {{{"PATH", PROGRAM_PATH},
                                                                         {"LANG", "C.UTF-8"},
                                                                         {"HOME", "/root"},
                                                                         {"USER", "root"},
                                                                         {"LOGNAME", "root"},
                                                                         {"SHELL", "/bin/sh"}}};
  require(clearenv() == 0, "eorva: clearenv");
  for (const auto& [szName, szValue] : FIXED) {
    require(setenv(szName, szValue, 1) == 0, "eorva: setenv");
  }
  for (const auto& [strName, strValue] : request.vecEnvironment) {
    require(setenv(strName.c_str(), strValue.c_str(), 1) == 0, "eorva: setenv");
  }
  const std::string strEvent = request.blByEvent ? request.strName : "on_demand";
  require(setenv("EORVA_EVENT", strEvent.c_str(), 1) == 0, "eorva: setenv");
  require(setenv("EORVA_FIRED_AT", std::to_string(request.firedAt).c_str(), 1) == 0, "eorva: setenv");
}

}  // namespace

void becomeCleanProcess(const std::vector<int>& vecKeep, const ExecutionRequest& request) {
  require(setsid() >= 0, "eorva: setsid");
  resetSignals();
  umask(022);
  require(chdir("/") == 0, "eorva: /");
  require(takeNewKeyring(), "eorva: the session keyring");
  dropInheritableCapabilities();
  takeDefaultLimits();
  setEnvironment(request);
  closeDescriptors(vecKeep);
  require(prctl(PR_SET_DUMPABLE, 0) == 0, "eorva: PR_SET_DUMPABLE");
}

}  // namespace Host
