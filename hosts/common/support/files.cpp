#include "files.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <random>
#include <sys/stat.h>
#include <unistd.h>

#include "failure.h"

namespace Host {

namespace {

[[noreturn]] void failErrno(const char* szDo, const std::string& strPath) {
  throw Failure(fmt::format("cannot {} {}: {}", szDo, strPath, std::strerror(errno)));
}

/// Some file systems have no fsync() for folders.
bool sync(int fdFolder) {
  return fsync(fdFolder) == 0 || errno == EINVAL;
}

UniqueFd openFolderOf(const std::filesystem::path& file) {
  UniqueFd folder(open(file.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen()) {
    failErrno("open the folder of", file);
  }
  return folder;
}

/// A file beside the one that it replaces. Removed again unless it has replaced it. It is written through its
/// descriptor alone: in a folder that others can write to, its name may soon be another file's.
class Draft {
public:
  Draft(int fdFolder, const std::string& strTarget)
      : Draft(fdFolder, strTarget,
              fmt::format("{}.{:08x}{:08x}", strTarget, std::random_device()(), std::random_device()())) {}
  Draft(int fdFolder, const std::string& strTarget, const std::string& strName)
      : m_fdFolder(fdFolder),
        m_strTarget(strTarget),
        m_strName(strName),
        m_fd(openat(fdFolder, m_strName.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {}
  ~Draft() {
    if (m_fd.isOpen() && !m_blKept) {
      unlinkat(m_fdFolder, m_strName.c_str(), 0);
    }
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  bool isOpen() const { return m_fd.isOpen(); }
  int fd() const { return m_fd.get(); }

  /// \return false when something failed; errno tells what. So do the others.
  bool write(std::string_view strText) const {
    while (!strText.empty()) {
      const ssize_t cb = ::write(m_fd.get(), strText.data(), strText.size());
      if (cb < 0 && errno != EINTR) {
        return false;
      }
      strText.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(cb, 0)));
    }
    return true;
  }

  bool giveTo(uid_t owner, gid_t group) const { return fchown(m_fd.get(), owner, group) == 0; }

  /// Leaves it under its own name.
  bool keep(mode_t mode) {
    m_blKept = fchmod(m_fd.get(), mode) == 0 && fsync(m_fd.get()) == 0;
    return m_blKept && sync(m_fdFolder);
  }

  bool put(mode_t mode) {
    m_blKept = fchmod(m_fd.get(), mode) == 0 && fsync(m_fd.get()) == 0 &&
               renameat(m_fdFolder, m_strName.c_str(), m_fdFolder, m_strTarget.c_str()) == 0;
    return m_blKept && sync(m_fdFolder);
  }

private:
  int m_fdFolder;
  std::string m_strTarget;
  std::string m_strName;
  UniqueFd m_fd;
  bool m_blKept = false;
};

}  // namespace

std::uint64_t dataSize(int fd, std::uint64_t cbFile) {
  std::uint64_t cbData = 0;
  off_t iEnd = 0;
  for (;;) {
    const off_t iBegin = lseek(fd, iEnd, SEEK_DATA);
    if (iBegin < 0) {
      return errno == ENXIO ? cbData : cbFile;
    }
    iEnd = lseek(fd, iBegin, SEEK_HOLE);
    if (iEnd < 0) {
      return cbFile;
    }
    cbData += static_cast<std::uint64_t>(iEnd - iBegin);
  }
}

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

std::string linkTarget(const std::string& strPath) {
  constexpr int LINKS_FOLLOWED = 40;
  std::filesystem::path path = strPath;
  for (int i = 0; i < LINKS_FOLLOWED; ++i) {
    std::error_code error;
    const std::filesystem::path target = std::filesystem::read_symlink(path, error);
    if (error) {
      return path;
    }
    path = path.parent_path() / target;
  }
  throw Failure(fmt::format("cannot replace {}: {}", strPath, std::strerror(ELOOP)));
}

void syncFolder(const std::string& strFolder) {
  const UniqueFd folder(open(strFolder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder.isOpen() || !sync(folder.get())) {
    failErrno("sync", strFolder);
  }
}

void writeNewFile(const std::string& strPath, const std::string& strLike, const std::string& strText, mode_t mode) {
  const std::filesystem::path file = strPath;
  const UniqueFd folder = openFolderOf(file);
  struct stat status{};
  const bool blThere = stat(strLike.c_str(), &status) == 0;
  Draft draft(folder.get(), file.filename(), file.filename());
  if (!draft.isOpen()) {
    failErrno("create", strPath);
  }
  if (!draft.write(strText) || (blThere && !draft.giveTo(status.st_uid, status.st_gid)) ||
      !draft.keep(blThere ? status.st_mode & 07777 : mode)) {
    failErrno("write", strPath);
  }
}

void replaceFile(const std::string& strPath, const std::string& strText, mode_t mode) {
  const std::filesystem::path target = linkTarget(strPath);
  const UniqueFd folder = openFolderOf(target);
  struct stat status{};
  const bool blThere = fstatat(folder.get(), target.filename().c_str(), &status, 0) == 0;
  Draft draft(folder.get(), target.filename());
  if (!draft.isOpen()) {
    failErrno("create a file beside", target);
  }
  if (!draft.write(strText) || (blThere && !draft.giveTo(status.st_uid, status.st_gid)) ||
      !draft.put(blThere ? status.st_mode & 07777 : mode)) {
    failErrno("replace", target);
  }
}

void replaceFileAt(int fdFolder, const std::string& strPath, const std::function<void(int)>& fnWrite, mode_t mode) {
  Draft draft(fdFolder, std::filesystem::path(strPath).filename());
  if (!draft.isOpen()) {
    failErrno("write", strPath);
  }
  fnWrite(draft.fd());
  if (!draft.put(mode)) {
    failErrno("write", strPath);
  }
}

}  // namespace Host
