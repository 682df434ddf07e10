#include "run_child.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <fmt/format.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "orva_platform.h"

#include "common/coordination/execution_file.h"
#include "common/output/limited_output.h"
#include "common/support/failure.h"
#include "common/support/service_defaults.h"
#include "end_reports.h"
#include "execution_group.h"

namespace Host {

namespace {

constexpr char NAME[] = "eorva-run";
constexpr int NOT_STARTED = -1;
constexpr int EXIT_NOT_FOUND = 127;

/// Where the calling process tells its end.
int g_fdEnds = -1;

std::function<std::uint64_t(const std::string& strOutput)> g_fnOutputLimit;

/// How much output had been written when it was cut.
std::int64_t g_cbWritten = 0;

void reportEnd(void*, int iStatus) {
  if (!EndReports::tell(g_fdEnds, {getpid(), iStatus, g_cbWritten})) {
    syslog(LOG_ERR, "the end of a run was not reported: %s", std::strerror(errno));
  }
}

std::uint64_t limitOf(const std::string& strOutput) {
  try {
    return g_fnOutputLimit ? g_fnOutputLimit(strOutput) : 0;
  } catch (const std::exception& error) {
    syslog(LOG_ERR, "the output of a run is not limited: %s", error.what());
    return 0;
  }
}

/// Waits for the shell, and keeps the output of its script within the limit.
int waitFor(pid_t pid, const char* szCommand) {
  const std::string strOutput = outputOf(szCommand);
  LimitedOutput output(strOutput, limitOf(strOutput));
  const int iStatus = output.waitFor(pid);
  g_cbWritten = output.written();
  return iStatus;
}

/// Like system(), with all signals at their default in the shell.
int runShell(void*, const char* szCommand) {
  // posix_spawn() would leave the signals ignored, and fork() copy the whole process.
  const pid_t pid = vfork();  // NOLINT(bugprone-unsafe-functions): the child only makes system calls
  if (pid == 0) {
    // The log lines may go there, and the shell would keep it for the owner to take.
    dup2(STDIN_FILENO, STDOUT_FILENO);
    takeDefaultSignals();
    execl("/bin/sh", "sh", "-c", szCommand, nullptr);
    _exit(EXIT_NOT_FOUND);
  }
  return pid > 0 ? waitFor(pid, szCommand) : NOT_STARTED;
}

/// Gives up the things of the execution that a script must not have.
void leaveExecution(const RunStart& start) {
  for (const int fd : start.vecParentOnly) {
    close(fd);
  }
  allowDefaultFiles();
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  // Runs of different owners must not share one.
  if (!takeNewKeyring()) {
    throw Failure(fmt::format("cannot make a session keyring: {}", std::strerror(errno)));
  }
  // A script that ends "its process group" must not end other runs, or the execution itself.
  setsid();
  prctl(PR_SET_NAME, NAME);
}

}  // namespace

void beginRun(const RunStart& start, pid_t pidExecution, bool blEnding) {
  g_fdEnds = start.fdEnds;
  g_fnOutputLimit = start.fnOutputLimit;
  try {
    leaveExecution(start);
    const std::string strGroup =
        start.strGroup.empty() ? std::string() : enterRunGroup(start.strGroup, start.cMaxProcesses);
    RunReport(start.strFile, getpid()).begin(strGroup);
    // A command that settles a killed execution ends the runs that have begun. A later run ends itself here.
    if (getppid() == pidExecution && !blEnding) {
      ORVARunOnEnd(&reportEnd, nullptr);
      ORVARunOnShell(&runShell, nullptr);
      return;
    }
  } catch (const Failure& failure) {
    syslog(LOG_ERR, "a run was not started: %s", failure.what());
  }
  reportEnd(nullptr, NOT_STARTED);
  _exit(0);
}

}  // namespace Host
