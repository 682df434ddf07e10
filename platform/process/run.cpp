#include "process/run.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/unique_fd.h"

namespace orva {
namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

// Programs do not inherit the caller's environment.
constexpr std::array<const char*, 6> ENVIRONMENT = {"PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin",
                                                    "HOME=/root",
                                                    "USER=root",
                                                    "LOGNAME=root",
                                                    "LANG=C.UTF-8",
                                                    nullptr};

class SpawnAttributes {
public:
  SpawnAttributes() {
    posix_spawnattr_init(&m_attributes);
    sigset_t set;
    sigemptyset(&set);
    posix_spawnattr_setsigmask(&m_attributes, &set);
    sigfillset(&set);
    posix_spawnattr_setsigdefault(&m_attributes, &set);
    posix_spawnattr_setpgroup(&m_attributes, 0);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&m_attributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;
  const posix_spawnattr_t* get() const { return &m_attributes; }

private:
  posix_spawnattr_t m_attributes{};
};

class SpawnActions {
public:
  SpawnActions(int fdIn, int fdOut) {
    posix_spawn_file_actions_init(&m_actions);
    fdOut >= 0 ? note(posix_spawn_file_actions_adddup2(&m_actions, fdOut, STDOUT_FILENO))
               : note(openNull(STDOUT_FILENO, O_WRONLY));
    fdIn >= 0 ? note(posix_spawn_file_actions_adddup2(&m_actions, fdIn, STDIN_FILENO))
              : note(openNull(STDIN_FILENO, O_RDONLY));
    note(openNull(STDERR_FILENO, O_WRONLY));
    note(posix_spawn_file_actions_addclosefrom_np(&m_actions, STDERR_FILENO + 1));
    note(posix_spawn_file_actions_addchdir_np(&m_actions, "/"));
  }
  ~SpawnActions() { posix_spawn_file_actions_destroy(&m_actions); }
  SpawnActions(const SpawnActions&) = delete;
  SpawnActions& operator=(const SpawnActions&) = delete;
  const posix_spawn_file_actions_t* get() const { return &m_actions; }
  int error() const { return m_iError; }

private:
  int openNull(int fd, int iMode) { return posix_spawn_file_actions_addopen(&m_actions, fd, "/dev/null", iMode, 0); }
  void note(int iError) { m_iError = m_iError ? m_iError : iError; }

  posix_spawn_file_actions_t m_actions{};
  int m_iError = 0;
};

// Moves a descriptor above 2, so that setting up the program's descriptors 0 to 2 does not overwrite it.
UniqueFd aside(int fd) {
  return UniqueFd(fd >= 0 ? fcntl(fd, F_DUPFD_CLOEXEC, STDERR_FILENO + 1) : -1);
}

int spawn(const std::vector<std::string>& vecArgument, int fdIn, int fdOut, pid_t& pid) {
  std::vector<char*> vecPointer;
  vecPointer.reserve(vecArgument.size() + 1);
  for (const std::string& strArgument : vecArgument) {
    vecPointer.push_back(const_cast<char*>(strArgument.c_str()));
  }
  vecPointer.push_back(nullptr);
  const UniqueFd in = aside(fdIn);
  const UniqueFd out = aside(fdOut);
  if ((fdIn >= 0 && !in) || (fdOut >= 0 && !out)) {
    return errno;
  }
  const SpawnAttributes attributes;
  const SpawnActions actions(in.get(), out.get());
  if (actions.error() != 0) {
    return actions.error();
  }
  return posix_spawn(&pid, vecPointer[0], actions.get(), attributes.get(), vecPointer.data(),
                     const_cast<char**>(ENVIRONMENT.data()));
}

// Waits until the process has ended, without reaping it; false when the time is up.
bool waitForEnd(pid_t pid, int fdPid, steady_clock::time_point until) {
  milliseconds pause{1};
  for (;;) {
    siginfo_t info{};
    if (waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0 ? errno != EINTR
                                                                                       : info.si_pid == pid) {
      return true;
    }
    const auto left = std::chrono::ceil<milliseconds>(until - steady_clock::now());
    if (left.count() <= 0) {
      return false;
    }
    // Without a pidfd (old kernels), poll with growing pauses.
    const milliseconds step = fdPid >= 0 ? left : std::min(left, pause);
    pollfd watched{fdPid, POLLIN, 0};
    poll(&watched, fdPid >= 0 ? 1 : 0, static_cast<int>(std::min<milliseconds::rep>(step.count(), 60'000)));
    pause = std::min(pause * 2, milliseconds{100});
  }
}

int collect(pid_t pid) {
  int iStatus = 0;
  pid_t pidEnded = 0;
  do {
    pidEnded = waitpid(pid, &iStatus, 0);
  } while (pidEnded < 0 && errno == EINTR);
  if (pidEnded < 0) {
    return -1;
  }
  if (!WIFEXITED(iStatus)) {
    errno = EINTR;
    return -1;
  }
  return WEXITSTATUS(iStatus);
}

}  // namespace

int runProgram(const std::vector<std::string>& vecArgument, int fdIn, int fdOut, const RunLimits& limits) {
  pid_t pid = -1;
  if (const int iError = spawn(vecArgument, fdIn, fdOut, pid); iError != 0) {
    errno = iError;
    return -1;
  }
  const UniqueFd fdPid(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (waitForEnd(pid, fdPid.get(), steady_clock::now() + limits.run)) {
    return collect(pid);
  }
  kill(-pid, SIGTERM);
  waitForEnd(pid, fdPid.get(), steady_clock::now() + limits.grace);
  // Also kill the rest of its group, which may have ignored the first signal.
  kill(-pid, SIGKILL);
  collect(pid);
  errno = ETIMEDOUT;
  return -1;
}

}  // namespace orva
