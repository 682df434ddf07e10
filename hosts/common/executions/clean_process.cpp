#include "clean_process.h"

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

#include "common/support/paths.h"

namespace Host {

namespace {

void require(bool blDone, const char* szWhat) {
  if (!blDone) {
    std::perror(szWhat);
    _exit(1);
  }
}

void resetSignals() {
  for (int iSignal = 1; iSignal < NSIG; ++iSignal) {
    // This fails for KILL, STOP and two signals of the C library, which need no reset.
    std::signal(iSignal, SIG_DFL);
  }
  // The reader of the log may end; that must not end an execution. Caught, not ignored, so that scripts get the
  // default.
  std::signal(SIGPIPE, [](int) {});
  sigset_t none;
  sigemptyset(&none);
  require(sigprocmask(SIG_SETMASK, &none, nullptr) == 0, "eorva: sigprocmask");
}

void redirectToNull(int fd, int iMode) {
  const int fdNull = open("/dev/null", iMode);
  require(fdNull >= 0, "eorva: /dev/null");
  if (fdNull != fd) {
    require(dup2(fdNull, fd) == fd, "eorva: /dev/null");
    close(fdNull);
  }
}

bool isWritable(int fd) {
  const int iFlags = fcntl(fd, F_GETFL);
  return iFlags >= 0 && (iFlags & O_ACCMODE) != O_RDONLY;
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

void closeDescriptors(const std::vector<int>& vecKeep, bool blKeepStdout) {
  redirectToNull(STDIN_FILENO, O_RDONLY);
  if (!blKeepStdout || !isWritable(STDOUT_FILENO)) {
    redirectToNull(STDOUT_FILENO, O_WRONLY);
  }
  if (!isWritable(STDERR_FILENO)) {
    redirectToNull(STDERR_FILENO, O_WRONLY);
  }
  renumber(vecKeep);
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

void becomeCleanProcess(const std::vector<int>& vecKeep, bool blKeepStdout, const ExecutionRequest& request) {
  require(setsid() >= 0, "eorva: setsid");
  resetSignals();
  umask(022);
  require(chdir("/") == 0, "eorva: /");
  closeDescriptors(vecKeep, blKeepStdout);
  setEnvironment(request);
}

}  // namespace Host
