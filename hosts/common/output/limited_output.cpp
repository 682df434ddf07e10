#include "limited_output.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "common/support/failure.h"
#include "common/support/file_alarm.h"
#include "common/text/amounts.h"

namespace Host {

namespace {

/// Pauses between two looks at a file that is being written to. Nobody writes a GiB faster than in a second.
constexpr off_t CB_IN_A_PAUSE = off_t{1} << 30;
constexpr int LONGEST_PAUSE = 1000;
constexpr int SHORTEST_PAUSE = 100;

int pauseFor(off_t cbLeft) {
  return static_cast<int>(std::clamp<off_t>(cbLeft / (CB_IN_A_PAUSE / LONGEST_PAUSE), SHORTEST_PAUSE, LONGEST_PAUSE));
}

off_t sizeOf(const UniqueFd& file) {
  struct stat status{};
  return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : 0;
}

bool hasEnded(int fdShell, int fdAlarm, int iTimeout) {
  std::array<pollfd, 2> entries = {{{fdShell, POLLIN, 0}, {fdAlarm, POLLIN, 0}}};
  return poll(entries.data(), entries.size(), iTimeout) > 0 && entries[0].revents != 0;
}

}  // namespace

std::string outputOf(std::string_view strCommand) {
  constexpr std::string_view BEFORE = "' > '";
  constexpr std::string_view BEHIND = "' 2>&1 ";
  const std::size_t iBefore = strCommand.rfind(BEFORE);
  if (iBefore == std::string_view::npos || !strCommand.ends_with(BEHIND)) {
    return {};
  }
  strCommand.remove_suffix(BEHIND.size());
  return std::string(strCommand.substr(std::min(iBefore + BEFORE.size(), strCommand.size())));
}

LimitedOutput::LimitedOutput(std::string strPath, std::uint64_t cbLimit)
    : m_strPath(std::move(strPath)), m_cbLimit(static_cast<off_t>(cbLimit)) {
  if (!m_strPath.empty() && m_cbLimit > 0) {
    m_file = UniqueFd(open(m_strPath.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  }
}

int LimitedOutput::waitFor(pid_t pidShell) {
  if (m_file.isOpen()) {
    const UniqueFd shell(static_cast<int>(syscall(SYS_pidfd_open, pidShell, 0)));
    if (shell.isOpen()) {
      watchUntilEnd(shell.get());
    }
  }
  int iStatus = -1;
  while (waitpid(pidShell, &iStatus, 0) < 0 && errno == EINTR) {
  }
  if (m_file.isOpen() && keepWithin() > m_cbLimit) {
    cut();
  }
  return iStatus;
}

void LimitedOutput::watchUntilEnd(int fdShell) {
  const FileAlarm alarm(m_strPath);
  // Where the kernel can watch no more files, the pauses have to do.
  while (!hasEnded(fdShell, alarm.fd(), alarm.isOpen() ? -1 : LONGEST_PAUSE)) {
    alarm.reset();
    const off_t cbLeft = m_cbLimit - keepWithin();
    if (hasEnded(fdShell, -1, pauseFor(cbLeft))) {
      return;
    }
  }
}

/// \return the size of the file.
off_t LimitedOutput::keepWithin() {
  const off_t cb = sizeOf(m_file);
  // Some file systems cannot do this. Then all of it stays until the end.
  if (cb > m_cbLimit &&
      fallocate(m_file.get(), FALLOC_FL_PUNCH_HOLE | FALLOC_FL_KEEP_SIZE, m_cbLimit, cb - m_cbLimit) == 0) {
    m_cbWritten = std::max(m_cbWritten, cb);
  }
  return cb;
}

void LimitedOutput::cut() {
  m_cbWritten = std::max(m_cbWritten, sizeOf(m_file));
  const std::string strLine =
      fmt::format("\n[the output was cut here: the run wrote {}, and the limit is {}]\n",
                  sizeText(static_cast<std::uint64_t>(m_cbWritten)), sizeText(static_cast<std::uint64_t>(m_cbLimit)));
  if (ftruncate(m_file.get(), m_cbLimit) < 0 ||
      pwrite(m_file.get(), strLine.data(), strLine.size(), m_cbLimit) != static_cast<ssize_t>(strLine.size())) {
    throw Failure(fmt::format("cannot cut {}", m_strPath));
  }
}

}  // namespace Host
