#include "detached_start.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>
#include <vector>

#include "eorvascheduler.h"

#include "common/config/settings.h"
#include "common/coordination/start_ticket.h"
#include "common/server/systemd_service.h"
#include "common/server/systemd_units.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "execution_group.h"
#include "start_execution.h"

namespace Host {

namespace {

/// The command for the service.
std::vector<std::string> commandOf(const ExecutionRequest& request, const StartTicket& ticket) {
  std::vector<std::string> vecCommand{std::filesystem::read_symlink("/proc/self/exe").string()};
  if (blDebugOutput) {
    vecCommand.emplace_back("--debug");
  }
  vecCommand.insert(vecCommand.end(), {request.blByEvent ? "fire" : "run", "--as-service", "--ticket", ticket.name(),
                                       "--fired-at", std::to_string(request.firedAt)});
  if (request.budget.count() > 0) {
    vecCommand.insert(vecCommand.end(), {"--budget", std::to_string(request.budget.count())});
  }
  if (request.blLeaveNothing) {
    vecCommand.emplace_back("--leave-nothing");
  }
  vecCommand.insert(vecCommand.end(), {"--", request.strName});
  return vecCommand;
}

/// The values may be secret.
std::vector<std::string> variablesOf(const ExecutionRequest& request) {
  std::vector<std::string> vecVariables;
  vecVariables.reserve(request.vecEnvironment.size());
  for (const auto& [strName, strValue] : request.vecEnvironment) {
    vecVariables.push_back(fmt::format("{}={}", strName, strValue));
  }
  return vecVariables;
}

/// Starts a service once. When systemd's answers are lost, it has started or never will.
std::string startAsService(const ExecutionRequest& request) {
  const std::string strUnit = unitName(request.unitPart(), "service");
  const StartTicket ticket(strUnit, variablesOf(request));
  try {
    startService(strUnit, request.description(), commandOf(request, ticket), stopTime(), unitFailsSetting());
  } catch (const std::exception&) {
    if (ticket.withdraw()) {
      throw;
    }
  }
  return strUnit;
}

/// Sent by the background process when no task could start.
constexpr char NOTHING_STARTED[] = "-";

void send(Pipe& pipe, const std::string& strText) {
  [[maybe_unused]] const ssize_t cb = write(pipe.writer.get(), strText.data(), strText.size());
  pipe.writer.reset();
}

/// Closes everything that the starter had open, but for the standard descriptors.
void keepWriterOnly(Pipe& pipe) {
  pipe.reader.reset();
  constexpr int FD = STDERR_FILENO + 1;
  if (pipe.writer.get() != FD) {
    dup3(pipe.writer.get(), FD, O_CLOEXEC);
    pipe.writer = UniqueFd(FD);
  }
  close_range(FD + 1, ~0U, 0);
}

void leaveTerminal() {
  std::fflush(nullptr);
  const UniqueFd null(open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int fd : std::array{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    if (!null.isOpen() || dup2(null.get(), fd) < 0) {
      throw Failure(fmt::format("cannot open /dev/null: {}", std::strerror(errno)));
    }
  }
}

void runInBackground(const ExecutionRequest& request, const std::function<void(const PreparedExecution&)>& fnTell,
                     Pipe& pipe) {
  const PreparedExecution prepared(request);
  fnTell(prepared);
  if (prepared.plan().vecTasks.empty()) {
    send(pipe, NOTHING_STARTED);
    return;
  }
  leaveTerminal();
  Execution execution = prepared.start();
  send(pipe, std::to_string(execution.pid()));
  followExecution(execution, nullptr,
                  {[] {}, [](const std::string& strText) { syslog(LOG_ERR, "%s", strText.c_str()); }});
}

[[noreturn]] void becomeBackground(const ExecutionRequest& request,
                                   const std::function<void(const PreparedExecution&)>& fnTell, Pipe& pipe) {
  // The starter may end before it has read the answer.
  std::signal(SIGPIPE, SIG_IGN);
  setsid();
  keepWriterOnly(pipe);
  // Not the leader of the session: it can never get a terminal again.
  if (fork() != 0) {
    _exit(0);
  }
  try {
    runInBackground(request, fnTell, pipe);
  } catch (const std::exception& error) {
    send(pipe, error.what());
  }
  std::fflush(nullptr);
  _exit(0);
}

pid_t startAsProcess(const ExecutionRequest& request, const std::function<void(const PreparedExecution&)>& fnTell) {
  Pipe pipe;
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid < 0) {
    throw Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
  }
  if (pid == 0) {
    becomeBackground(request, fnTell, pipe);
  }
  waitpid(pid, nullptr, 0);
  pipe.writer.reset();
  const std::string strText = readAll(pipe.reader.get(), "the answer of the background process");
  if (strText == NOTHING_STARTED) {
    return 0;
  }
  char* szEnd = nullptr;
  const long lPid = std::strtol(strText.c_str(), &szEnd, 10);
  if (strText.empty() || *szEnd != '\0') {
    throw Failure(strText.empty() ? "the background process ended before it started anything" : strText);
  }
  return static_cast<pid_t>(lPid);
}

}  // namespace

DetachedStart startDetached(const ExecutionRequest& request,
                            const std::function<void(const PreparedExecution&)>& fnTell) {
  if (isSystemdRunning()) {
    return {startAsService(request), 0};
  }
  return {{}, startAsProcess(request, fnTell)};
}

}  // namespace Host
