#include "detach.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/wait.h>
#include <unistd.h>

#include "eorvascheduler.h"

#include "cli/terminal/present.h"
#include "common/config/settings.h"
#include "common/coordination/start_ticket.h"
#include "common/server/systemd_service.h"
#include "common/server/systemd_units.h"
#include "common/support/failure.h"
#include "common/support/unique_fd.h"
#include "execute.h"

namespace {

/// The command that does the same without --detach, once.
std::vector<std::string> commandOf(const Host::ExecutionRequest& request, const Host::StartTicket& ticket) {
  std::vector<std::string> vecCommand{std::filesystem::read_symlink("/proc/self/exe").string()};
  if (blDebugOutput) {
    vecCommand.emplace_back("--debug");
  }
  vecCommand.insert(vecCommand.end(), {request.blByEvent ? "fire" : "run", "--as-service", "--ticket", ticket.name(),
                                       "--fired-at", std::to_string(request.firedAt)});
  for (const auto& [strName, strValue] : request.vecEnvironment) {
    vecCommand.insert(vecCommand.end(), {"--env", fmt::format("{}={}", strName, strValue)});
  }
  if (request.budget.count() > 0) {
    vecCommand.insert(vecCommand.end(), {"--budget", std::to_string(request.budget.count())});
  }
  if (request.blLeaveNothing) {
    vecCommand.emplace_back("--leave-nothing");
  }
  vecCommand.insert(vecCommand.end(), {"--", request.strName});
  return vecCommand;
}

void say(const Host::ExecutionRequest& request, bool blJson, const char* szMember, const Json::Value& jWhere,
         const std::string& strWhere) {
  if (blJson) {
    Json::Value jOut(Json::objectValue);
    jOut[request.kind()] = request.strName;
    jOut[szMember] = jWhere;
    printJson(jOut);
  } else {
    fmt::print("{} {}: started in {}\n", request.kind(), request.strName, strWhere);
  }
}

/// How long the service may take to end when it is asked to: its runs are ended, closed, and cleared up after. Then
/// systemd ends what is left of it.
std::chrono::seconds stopTime() {
  using namespace std::chrono_literals;
  return 3 * Host::graceSetting() + 60s;
}

/// Whatever there was to be said about that has been shown.
constexpr char NOTHING_STARTED[] = "-";

/// What the process in the background has to say to the one that started it: a number, or why there is none.
class Message {
public:
  Message() {
    std::array<int, 2> fds{};
    if (pipe2(fds.data(), O_CLOEXEC) < 0) {
      throw Host::Failure(fmt::format("cannot create a pipe: {}", std::strerror(errno)));
    }
    m_reader = Host::UniqueFd(fds[0]);
    m_writer = Host::UniqueFd(fds[1]);
  }

  void send(const std::string& strText) {
    [[maybe_unused]] const ssize_t cb = write(m_writer.get(), strText.data(), strText.size());
    m_writer.reset();
  }

  /// For the process in the background: nothing that its starter had open is kept open by it.
  void keepWriterOnly() {
    m_reader.reset();
    constexpr int FD = STDERR_FILENO + 1;
    if (m_writer.get() != FD) {
      dup3(m_writer.get(), FD, O_CLOEXEC);
      m_writer = Host::UniqueFd(FD);
    }
    close_range(FD + 1, ~0U, 0);
  }

  std::string receive() {
    m_writer.reset();
    std::string strText;
    std::array<char, 4096> buffer{};
    for (ssize_t cb = 0; (cb = read(m_reader.get(), buffer.data(), buffer.size())) != 0;) {
      if (cb > 0) {
        strText.append(buffer.data(), static_cast<std::size_t>(cb));
      } else if (errno != EINTR) {
        break;
      }
    }
    return strText;
  }

private:
  Host::UniqueFd m_reader;
  Host::UniqueFd m_writer;
};

void leaveTerminal() {
  const Host::UniqueFd null(open("/dev/null", O_RDWR | O_CLOEXEC));
  for (const int fd : std::array{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    dup2(null.get(), fd);
  }
}

[[noreturn]] void runInBackground(const Context& context, const Host::ExecutionRequest& request, bool blJson,
                                  Message& message) {
  setsid();
  message.keepWriterOnly();
  // Not the leader of the session: it can never get a terminal again.
  if (fork() != 0) {
    _exit(0);
  }
  try {
    execute(context, request, {blJson, &leaveTerminal, [&message](pid_t pid) { message.send(std::to_string(pid)); }});
    message.send(NOTHING_STARTED);
  } catch (const std::exception& error) {
    message.send(error.what());
  }
  // Nobody is there any more to hear how it ended; the records tell.
  std::fflush(nullptr);
  _exit(0);
}

int detachProcess(const Context& context, const Host::ExecutionRequest& request, bool blJson) {
  Message message;
  std::fflush(nullptr);
  const pid_t pid = fork();
  if (pid < 0) {
    throw Host::Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
  }
  if (pid == 0) {
    runInBackground(context, request, blJson, message);
  }
  waitpid(pid, nullptr, 0);
  const std::string strText = message.receive();
  if (strText == NOTHING_STARTED) {
    return EXIT_DONE;
  }
  char* szEnd = nullptr;
  const long lPid = std::strtol(strText.c_str(), &szEnd, 10);
  if (strText.empty() || *szEnd != '\0') {
    throw Host::Failure(strText.empty() ? "the process in the background has ended before it started anything"
                                        : strText);
  }
  say(request, blJson, "pid", static_cast<Json::Int64>(lPid), fmt::format("process {}", lPid));
  return EXIT_DONE;
}

/// Starts a service. Whatever becomes of systemd's answers, it begins once, or never when this fails.
void startOnce(const std::string& strUnit, const Host::ExecutionRequest& request) {
  const Host::StartTicket ticket(strUnit);
  try {
    Host::startService(strUnit, fmt::format("Scheduler {} {}", request.kind(), request.strName),
                       commandOf(request, ticket), stopTime());
  } catch (const std::exception&) {
    if (ticket.withdraw()) {
      throw;
    }
  }
}

}  // namespace

int detach(const Context& context, const Host::ExecutionRequest& request, bool blJson) {
  if (!Host::isSystemdRunning()) {
    return detachProcess(context, request, blJson);
  }
  const std::string strUnit =
      Host::serviceName(fmt::format("{}-{}", request.blByEvent ? "fire" : "run", request.strName));
  startOnce(strUnit, request);
  say(request, blJson, "unit", strUnit, strUnit);
  return EXIT_DONE;
}
