#include "limited_output.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "common/text/amounts.h"

namespace Host {

namespace {

/// Pauses between two looks at the file, in milliseconds. Nobody writes a GiB faster than in a second, and a script
/// that writes nothing is looked at as rarely as possible. The kernel could tell of each change, but it watches only
/// few files for all processes of a user.
constexpr off_t CB_IN_A_SECOND = off_t{1} << 30;
constexpr int SECOND = 1000;
constexpr int SHORTEST_PAUSE = 100;
constexpr int LONGEST_PAUSE = 10 * SECOND;

int pauseFor(off_t cbLeft) {
  return static_cast<int>(std::clamp<off_t>(cbLeft / (CB_IN_A_SECOND / SECOND), SHORTEST_PAUSE, SECOND));
}

off_t sizeOf(const UniqueFd& file) {
  struct stat status{};
  return fstat(file.get(), &status) == 0 && S_ISREG(status.st_mode) ? status.st_size : 0;
}

bool hasEnded(int fdShell, int iTimeout) {
  pollfd entry{fdShell, POLLIN, 0};
  return poll(&entry, 1, iTimeout) > 0;
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
    : m_strPath(std::move(strPath)), m_cbLimit(static_cast<off_t>(cbLimit)) {}

int LimitedOutput::waitFor(pid_t pidShell) {
  const bool blLimited = !m_strPath.empty() && m_cbLimit > 0;
  const UniqueFd shell(blLimited ? static_cast<int>(syscall(SYS_pidfd_open, pidShell, 0)) : -1);
  if (shell.isOpen()) {
    watchUntilEnd(shell.get());
  }
  int iStatus = -1;
  while (waitpid(pidShell, &iStatus, 0) < 0 && errno == EINTR) {
  }
  if (blLimited && keepWithin() > m_cbLimit) {
    cut();
  }
  return iStatus;
}

void LimitedOutput::watchUntilEnd(int fdShell) {
  off_t cbLast = 0;
  int iPause = pauseFor(m_cbLimit);
  while (!hasEnded(fdShell, iPause)) {
    const off_t cb = keepWithin();
    iPause = cb != cbLast ? pauseFor(m_cbLimit - cb) : std::min(2 * iPause, LONGEST_PAUSE);
    cbLast = cb;
  }
}

/// \return the size of the file.
off_t LimitedOutput::keepWithin() {
  if (!m_file.isOpen()) {
    // Its owner can delay this by a lease, but not for long.
    m_file = UniqueFd(open(m_strPath.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  }
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
  // A full disk may have no room for the line. The record of the run tells it, too.
  static_cast<void>(ftruncate(m_file.get(), m_cbLimit) == 0 &&
                    pwrite(m_file.get(), strLine.data(), strLine.size(), m_cbLimit) >= 0);
}

}  // namespace Host
