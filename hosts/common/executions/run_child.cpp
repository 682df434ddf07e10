#include "run_child.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <set>
#include <string_view>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include "orva_platform.h"

#include "common/coordination/execution_file.h"
#include "common/output/limited_output.h"
#include "common/support/failure.h"
#include "common/support/priorities.h"
#include "common/support/service_defaults.h"
#include "common/support/unique_fd.h"
#include "end_reports.h"
#include "execution_group.h"
#include "messages.h"

namespace Host {

namespace {

constexpr char NAME[] = "eorva-run";
constexpr int NOT_STARTED = -1;
constexpr int EXIT_NOT_FOUND = 127;

/// The run of the calling process.
RunStart g_start;

/// The report of its end.
EndReport g_end;

void reportEnd(void*, int iStatus) {
  g_end.pid = getpid();
  g_end.iStatus = iStatus;
  if (!EndReports::tell(g_start.fdEnds, g_end)) {
    syslog(LOG_ERR, "the end of a run was not reported: %s", std::strerror(errno));
  }
}

/// Waits for the shell, and keeps the output of its script within the limit.
int waitFor(pid_t pid, const std::string& strOutput) {
  LimitedOutput output(strOutput, g_start.cbOutputLimit);
  const int iStatus = output.waitFor(pid);
  g_end.cbWritten = output.written();
  return iStatus;
}

/// Enters the directory of the task. This process is the owner's by now, so it reaches only what the owner may reach,
/// whatever the path leads to in this moment.
bool enterDirectory(const std::string& strOutput) {
  const std::string& strDirectory = g_start.settings.strDirectory;
  if (chdir(strDirectory.c_str()) == 0) {
    return true;
  }
  g_end.iDirectoryError = errno;
  const std::string strLine =
      fmt::format("eorva: cannot enter the directory {}: {}\n", strDirectory, std::strerror(errno));
  const UniqueFd fd(open(strOutput.c_str(), O_WRONLY | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  // The record of the run tells it, too.
  static_cast<void>(fd.isOpen() && write(fd.get(), strLine.data(), strLine.size()) > 0);
  return false;
}

/// The variables of the script, "NAME=VALUE". A variable of the task gives way to that of an event.
std::vector<std::string> environmentOf(const RunSettings& settings) {
  std::vector<std::string> vecVariables;
  std::set<std::string> setOwn;
  for (const auto& [strName, strValue] : settings.vecEnvironment) {
    // These two have a value that no event gave.
    if (strName == "PATH" || strName == "LANG" || std::getenv(strName.c_str()) == nullptr) {
      vecVariables.push_back(fmt::format("{}={}", strName, strValue));
      setOwn.insert(strName);
    }
  }
  for (char** ppVariable = environ; *ppVariable != nullptr; ++ppVariable) {
    const std::string_view strVariable(*ppVariable);
    if (setOwn.count(std::string(strVariable.substr(0, strVariable.find('=')))) == 0) {
      vecVariables.emplace_back(strVariable);
    }
  }
  return vecVariables;
}

/// As exec() wants them.
std::vector<char*> pointersTo(std::vector<std::string>& vecTexts) {
  std::vector<char*> vecPointers;
  vecPointers.reserve(vecTexts.size() + 1);
  for (std::string& strText : vecTexts) {
    vecPointers.push_back(strText.data());
  }
  vecPointers.push_back(nullptr);
  return vecPointers;
}

/// Like system(), with all signals at their default in the shell.
int runShell(void*, const char* szCommand) {
  const std::string strOutput = outputOf(szCommand);
  if (!enterDirectory(strOutput)) {
    return NOT_STARTED;
  }
  std::vector<std::string> vecVariables = environmentOf(g_start.settings);
  std::vector<char*> vecEnvironment = pointersTo(vecVariables);
  // posix_spawn() would leave the signals ignored, and fork() copy the whole process.
  const pid_t pid = vfork();  // NOLINT(bugprone-unsafe-functions): the child only makes system calls
  if (pid == 0) {
    // The log lines may go there, and the shell would keep it for the owner to take.
    dup2(STDIN_FILENO, STDOUT_FILENO);
    takeDefaultSignals();
    execle("/bin/sh", "sh", "-c", szCommand, nullptr, vecEnvironment.data());
    _exit(EXIT_NOT_FOUND);
  }
  return pid > 0 ? waitFor(pid, strOutput) : NOT_STARTED;
}

void warn(const RunStart& start, const char* szWhat, const char* szWhy) {
  sendMessage(fmt::format("warning: the task \"{}\" runs without its {}: {}", start.strTask, szWhat, szWhy));
}

/// A container may not be allowed to set them, and may have no control groups. The script runs without them then: an
/// event must not be lost for it.
void setPriorities(const RunStart& start) {
  if (start.settings.iNice != 0 && !setNice(start.settings.iNice)) {
    warn(start, "nice value", std::strerror(errno));
  }
  if (start.settings.iIoPriority != 0 && !setIoPriority(start.settings.iIoPriority)) {
    warn(start, "I/O class", std::strerror(errno));
  }
}

/// \return the name of the group; empty where there are none.
std::string enterGroup(const RunStart& start) {
  const std::uint64_t cbMemory = start.settings.cbMemory;
  if (start.strGroup.empty()) {
    if (cbMemory > 0) {
      warn(start, "memory limit", "there are no control groups");
    }
    return {};
  }
  const RunGroupEntry entry = enterRunGroup(start.strGroup, start.cMaxProcesses, cbMemory);
  if (entry.iMemoryError != 0) {
    warn(start, "memory limit",
         entry.iMemoryError == ENOENT ? "the memory controller is not available" : std::strerror(entry.iMemoryError));
  }
  return entry.strName;
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
  g_start = start;
  try {
    leaveExecution(start);
    const std::string strGroup = enterGroup(start);
    setPriorities(start);
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
