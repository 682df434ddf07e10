#include "process.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <string_view>
#include <sys/syscall.h>
#include <unistd.h>
#include <vector>

namespace Host {

namespace {

/// The functions of this C library cannot be linked from C++.
int openProcess(pid_t pid) {
  return static_cast<int>(syscall(SYS_pidfd_open, pid, 0));
}

bool sendSignal(int fd, int iSignal) {
  return syscall(SYS_pidfd_send_signal, fd, iSignal, nullptr, 0) == 0;
}

template <typename Number>
Number numberAt(const std::vector<std::string_view>& vecFields, std::size_t i) {
  Number value = 0;
  if (i < vecFields.size()) {
    std::from_chars(vecFields[i].data(), vecFields[i].data() + vecFields[i].size(), value);
  }
  return value;
}

std::vector<std::string_view> split(std::string_view strText) {
  std::vector<std::string_view> vecFields;
  for (std::size_t iStart = 0; iStart < strText.size();) {
    const std::size_t iEnd = std::min(strText.find(' ', iStart), strText.size());
    vecFields.push_back(strText.substr(iStart, iEnd - iStart));
    iStart = iEnd + 1;
  }
  return vecFields;
}

struct CloseDirectory {
  void operator()(DIR* pDirectory) const { closedir(pDirectory); }
};

}  // namespace

std::optional<ProcessStatus> processStatus(pid_t pid) {
  const UniqueFd fd(open(fmt::format("/proc/{}/stat", pid).c_str(), O_RDONLY | O_CLOEXEC));
  std::array<char, 1024> buffer{};
  const ssize_t cb = fd.isOpen() ? read(fd.get(), buffer.data(), buffer.size()) : -1;
  if (cb <= 0) {
    return std::nullopt;
  }
  const std::string_view strStat(buffer.data(), static_cast<std::size_t>(cb));
  // The name is in parentheses and may contain any character, blanks and parentheses too.
  const std::size_t iNameEnd = strStat.rfind(") ");
  if (iNameEnd == std::string_view::npos || iNameEnd + 2 >= strStat.size()) {
    return std::nullopt;
  }
  const std::vector<std::string_view> vecFields = split(strStat.substr(iNameEnd + 2));
  constexpr std::size_t PARENT = 1;
  constexpr std::size_t SESSION = 3;
  constexpr std::size_t START_TIME = 19;
  return ProcessStatus{pid, numberAt<pid_t>(vecFields, PARENT), numberAt<pid_t>(vecFields, SESSION),
                       strStat[iNameEnd + 2], numberAt<std::uint64_t>(vecFields, START_TIME)};
}

Process::Process(pid_t pid) : m_pid(pid), m_fd(openProcess(pid)) {
  if (!m_fd.isOpen() && (errno == EMFILE || errno == ENFILE)) {
    const std::optional<ProcessStatus> status = processStatus(pid);
    m_ticksStart = status ? status->ticksStart : 0;
  }
}

std::optional<ProcessStatus> Process::status() const {
  const std::optional<ProcessStatus> status = processStatus(m_pid);
  // Checked last: while it exists, its id was not reused.
  return signal(0) ? status : std::nullopt;
}

bool Process::isAlive() const {
  const std::optional<ProcessStatus> now = status();
  return now && !now->isEnded();
}

bool Process::signal(int iSignal) const {
  if (m_fd.isOpen()) {
    return sendSignal(m_fd.get(), iSignal);
  }
  const std::optional<ProcessStatus> now = m_ticksStart != 0 ? processStatus(m_pid) : std::nullopt;
  return now && now->ticksStart == m_ticksStart && kill(m_pid, iSignal) == 0;
}

std::vector<pid_t> membersOfSession(pid_t pidLeader) {
  std::vector<pid_t> vecPids;
  const std::unique_ptr<DIR, CloseDirectory> pDirectory(opendir("/proc"));
  while (const dirent* pEntry = pDirectory ? readdir(pDirectory.get()) : nullptr) {
    pid_t pid = 0;
    const char* szEnd = pEntry->d_name + std::strlen(pEntry->d_name);
    const auto [pEnd, error] = std::from_chars(pEntry->d_name, szEnd, pid);
    if (error != std::errc() || pEnd != szEnd) {
      continue;
    }
    const std::optional<ProcessStatus> status = processStatus(pid);
    if (status && status->pidSession == pidLeader && !status->isEnded()) {
      vecPids.push_back(pid);
    }
  }
  return vecPids;
}

double secondsSinceStart(const ProcessStatus& status) {
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  constexpr double NANOSECONDS = 1e9;
  return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / NANOSECONDS -
         static_cast<double>(status.ticksStart) / static_cast<double>(sysconf(_SC_CLK_TCK));
}

}  // namespace Host
