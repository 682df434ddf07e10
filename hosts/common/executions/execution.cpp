#include "execution.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "execution_watch.h"

namespace Host {

namespace {

pid_t forkWatch(const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
                const TaskLock& lock) {
  std::fflush(nullptr);
  // The caller may have left SIGCHLD ignored; then the exit status of the execution would be lost.
  std::signal(SIGCHLD, SIG_DFL);
  const pid_t pid = fork();
  if (pid < 0) {
    throw Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
  }
  if (pid == 0) {
    watchAndExit(request, plan, file, lock);
  }
  return pid;
}

}  // namespace

Execution::Execution(const ExecutionRequest& request, const ExecutionPlan& plan, const TaskLock& lock)
    : m_file(plan.iLastResult, plan.iFiring), m_process(forkWatch(request, plan, m_file, lock)) {}

std::optional<int> Execution::waitEnd(int iMilliseconds) {
  pollfd entry{m_process.fd(), POLLIN, 0};
  poll(&entry, 1, iMilliseconds);
  int iStatus = 0;
  const pid_t pidEnded = waitpid(pid(), &iStatus, WNOHANG);
  if (pidEnded < 0) {
    throw Failure(fmt::format("cannot wait for the execution in process {}: {}", pid(), std::strerror(errno)));
  }
  return pidEnded == 0 ? std::nullopt : std::optional<int>(iStatus);
}

}  // namespace Host
