#include "execution_file.h"

#include <array>
#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <pthread.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <utility>

#include "failure.h"
#include "installed_paths.h"

namespace Host {

namespace {

namespace fs = std::filesystem;

/// Where the children of this process report; only set in the process of an execution.
int g_fdReport = -1;
int g_fdCloseToo = -1;

void reportSelf() {
  if (g_fdReport < 0) {
    return;
  }
  std::array<char, 16> szLine{};
  char* pEnd = std::to_chars(szLine.data(), szLine.data() + szLine.size() - 1, getpid()).ptr;
  *pEnd++ = '\n';
  // One short write to a file in append mode: lines of several children do not mix. Nothing could be done
  // about a failure here; the run is then told apart by its process alone.
  [[maybe_unused]] const ssize_t cb = write(g_fdReport, szLine.data(), static_cast<std::size_t>(pEnd - szLine.data()));
  close(std::exchange(g_fdReport, -1));
  close(std::exchange(g_fdCloseToo, -1));
}

void makeFolder(const char* szPath) {
  if (mkdir(szPath, 0700) < 0 && errno != EEXIST) {
    throw Failure(fmt::format("cannot create {}: {}", szPath, std::strerror(errno)));
  }
}

void readPids(int fd, std::set<pid_t>& setPids) {
  std::string strText;
  std::array<char, 4096> buffer{};
  off_t offset = 0;
  for (ssize_t cb = 0; (cb = pread(fd, buffer.data(), buffer.size(), offset)) > 0; offset += cb) {
    strText.append(buffer.data(), static_cast<std::size_t>(cb));
  }
  // A line that is not complete yet is left for the next time.
  for (std::size_t iStart = 0, iEnd = 0; (iEnd = strText.find('\n', iStart)) != std::string::npos; iStart = iEnd + 1) {
    pid_t pid = 0;
    if (std::from_chars(strText.data() + iStart, strText.data() + iEnd, pid).ec == std::errc()) {
      setPids.insert(pid);
    }
  }
}

}  // namespace

ExecutionFile::ExecutionFile() {
  makeFolder(RUN_FOLDER);
  makeFolder(EXECUTIONS_FOLDER);
  // A process id alone could come back while an earlier execution with it is still alive.
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  const std::string strName = fmt::format("{}-{}.{:09}", getpid(), now.tv_sec, now.tv_nsec);
  m_strPath = fmt::format("{}/{}", EXECUTIONS_FOLDER, strName);
  // Locked before it has its name, so that nobody takes it for the file of a dead execution.
  const std::string strNew = fmt::format("{}/.{}", EXECUTIONS_FOLDER, strName);
  m_fd = UniqueFd(open(strNew.c_str(), O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!m_fd.isOpen() || flock(m_fd.get(), LOCK_EX | LOCK_NB) < 0 || rename(strNew.c_str(), m_strPath.c_str()) < 0) {
    throw Failure(fmt::format("cannot create {}: {}", m_strPath, std::strerror(errno)));
  }
}

void ExecutionFile::remove() {
  unlink(m_strPath.c_str());
}

std::set<pid_t> ExecutionFile::children() const {
  std::set<pid_t> setPids;
  readPids(m_fd.get(), setPids);
  return setPids;
}

void reportChildrenTo(int fd, int fdCloseToo) {
  g_fdReport = fd;
  g_fdCloseToo = fdCloseToo;
  pthread_atfork(nullptr, nullptr, reportSelf);
}

std::set<pid_t> childrenOfLiveExecutions() {
  std::set<pid_t> setPids;
  std::error_code error;
  for (const fs::directory_entry& entry : fs::directory_iterator(EXECUTIONS_FOLDER, error)) {
    if (entry.path().filename().string().front() == '.') {
      continue;
    }
    const UniqueFd fd(open(entry.path().c_str(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC));
    if (fd.isOpen() && flock(fd.get(), LOCK_SH | LOCK_NB) == 0) {
      fs::remove(entry.path(), error);
    } else if (fd.isOpen()) {
      readPids(fd.get(), setPids);
    }
  }
  return setPids;
}

}  // namespace Host
