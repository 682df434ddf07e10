#include "execution.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "execution_watch.h"

namespace Host {

namespace {

pid_t forkWatch(const ExecutionRequest& request, const ExecutionPlan& plan, const ExecutionFile& file,
                const TaskLock& lock, const Pipe& messages) {
  std::fflush(nullptr);
  // The caller may have left SIGCHLD ignored; then the exit status of the execution would be lost.
  std::signal(SIGCHLD, SIG_DFL);
  const pid_t pid = fork();
  if (pid < 0) {
    throw Failure(fmt::format("cannot start a process: {}", std::strerror(errno)));
  }
  if (pid == 0) {
    watchAndExit(request, plan, file, lock, messages.writer.get());
  }
  return pid;
}

/// Neither end waits for the other: an execution continues when nobody reads its messages.
Pipe messagePipe() {
  Pipe pipe;
  for (const UniqueFd* pEnd : {&pipe.reader, &pipe.writer}) {
    fcntl(pEnd->get(), F_SETFL, O_NONBLOCK);
  }
  return pipe;
}

}  // namespace

Execution::Execution(const ExecutionRequest& request, const ExecutionPlan& plan, const TaskLock& lock)
    : m_file(plan.iLastRun, plan.iFiring),
      m_alarm(m_file.path()),
      m_messages(messagePipe()),
      m_process(forkWatch(request, plan, m_file, lock, m_messages)) {
  m_messages.writer.reset();
}

std::set<pid_t> Execution::children() {
  m_file.update();
  return m_file.notes().children();
}

unsigned Execution::stored() {
  m_file.update();
  return m_file.notes().cStored;
}

std::string Execution::group() {
  m_file.update();
  return m_file.notes().strGroup;
}

void Execution::wait(std::chrono::milliseconds limit) const {
  std::array<pollfd, 3> entries = {
      {{m_process.fd(), POLLIN, 0}, {m_alarm.fd(), POLLIN, 0}, {m_messages.reader.get(), POLLIN, 0}}};
  constexpr std::chrono::milliseconds NO_ALARM_PAUSE(250);
  const std::chrono::milliseconds pause = m_alarm.isOpen() ? limit : std::min(limit, NO_ALARM_PAUSE);
  poll(entries.data(), entries.size(), static_cast<int>(pause.count()));
  m_alarm.reset();
}

bool Execution::waitEnd(std::chrono::milliseconds limit) const {
  pollfd entry{m_process.fd(), POLLIN, 0};
  return poll(&entry, 1, static_cast<int>(limit.count())) > 0;
}

std::optional<int> Execution::status() {
  int iStatus = 0;
  const pid_t pidEnded = waitpid(pid(), &iStatus, WNOHANG);
  if (pidEnded < 0) {
    throw Failure(fmt::format("cannot wait for the execution in process {}: {}", pid(), std::strerror(errno)));
  }
  return pidEnded == 0 ? std::nullopt : std::optional<int>(iStatus);
}

std::string Execution::takeMessages() {
  std::string strText;
  std::array<char, 4096> buffer{};
  for (ssize_t cb = 0; (cb = read(m_messages.reader.get(), buffer.data(), buffer.size())) > 0;) {
    strText.append(buffer.data(), static_cast<std::size_t>(cb));
  }
  return strText;
}

}  // namespace Host
