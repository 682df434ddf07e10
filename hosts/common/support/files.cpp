#include "files.h"

#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace Host {

namespace {

constexpr std::size_t CB_MAX_FILE = std::size_t{16} << 20;

[[noreturn]] void failErrno(const char* szDo, const std::string& strPath) {
  throw Failure(fmt::format("cannot {} {}: {}", szDo, strPath, std::strerror(errno)));
}

std::string targetOf(const std::string& strPath) {
  std::array<char, PATH_MAX> szTarget{};
  return realpath(strPath.c_str(), szTarget.data()) != nullptr ? szTarget.data() : strPath;
}

/// A file beside the one that it replaces. Removed again unless replace() was called.
class Draft {
public:
  explicit Draft(const std::string& strTarget)
      : m_strTarget(strTarget), m_strPath(strTarget + ".XXXXXX"), m_fd(mkostemp(m_strPath.data(), O_CLOEXEC)) {
    if (!m_fd.isOpen()) {
      failErrno("create a file beside", strTarget);
    }
  }
  ~Draft() {
    if (!m_strPath.empty()) {
      unlink(m_strPath.c_str());
    }
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  void write(std::string_view strText) const {
    while (!strText.empty()) {
      const ssize_t cb = ::write(m_fd.get(), strText.data(), strText.size());
      if (cb < 0) {
        failErrno("write", m_strPath);
      }
      strText.remove_prefix(static_cast<std::size_t>(cb));
    }
  }

  void replace(mode_t mode) {
    struct stat status{};
    const bool blThere = stat(m_strTarget.c_str(), &status) == 0;
    if ((blThere && fchown(m_fd.get(), status.st_uid, status.st_gid) < 0) ||
        fchmod(m_fd.get(), blThere ? status.st_mode & 07777 : mode) < 0 || fsync(m_fd.get()) < 0 ||
        std::rename(m_strPath.c_str(), m_strTarget.c_str()) < 0) {
      failErrno("replace", m_strTarget);
    }
    m_strPath.clear();
  }

private:
  std::string m_strTarget;
  std::string m_strPath;
  UniqueFd m_fd;
};

}  // namespace

std::string readAll(int fd, const std::string& strName, std::size_t cbMax) {
  std::string strText;
  std::array<char, 16384> buffer{};
  for (;;) {
    ssize_t cb = pread(fd, buffer.data(), buffer.size(), static_cast<off_t>(strText.size()));
    if (cb < 0 && errno == ESPIPE) {
      cb = read(fd, buffer.data(), buffer.size());
    }
    if (cb == 0) {
      return strText;
    }
    if (cb > 0) {
      strText.append(buffer.data(), static_cast<std::size_t>(cb));
    } else if (errno != EINTR) {
      failErrno("read", strName);
    }
    if (strText.size() > cbMax) {
      throw Failure(fmt::format("cannot read {}: it is larger than {} bytes", strName, cbMax));
    }
  }
}

Pipe::Pipe() {
  std::array<int, 2> fds{};
  if (pipe2(fds.data(), O_CLOEXEC) < 0) {
    throw Failure(fmt::format("cannot create a pipe: {}", std::strerror(errno)));
  }
  reader = UniqueFd(fds[0]);
  writer = UniqueFd(fds[1]);
}

std::optional<std::string> readTextFile(const std::string& strPath) {
  const UniqueFd fd(open(strPath.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  if (!fd.isOpen() && errno == ENOENT) {
    return std::nullopt;
  }
  if (!fd.isOpen()) {
    failErrno("read", strPath);
  }
  return readAll(fd.get(), strPath, CB_MAX_FILE);
}

void replaceFile(const std::string& strPath, const std::string& strText, mode_t mode) {
  Draft draft(targetOf(strPath));
  draft.write(strText);
  draft.replace(mode);
}

}  // namespace Host
