#include "mail/outbox.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "shares/own_folder.h"
#include "support/directory.h"

namespace orva {
namespace {

constexpr const char* OUTBOX_PATH = "/var/spool/orva/outbox";
constexpr const char* UNFINISHED = ".new.";
constexpr std::time_t UNFINISHED_SECONDS_MAX = 3600;

// Makes a name that sorts by time. The process id and a counter make it unique.
std::string freshName() {
  static unsigned uCounter = 0;
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return fmt::format("{:012}.{:09}.{}.{}", now.tv_sec, now.tv_nsec, getpid(), uCounter++);
}

bool copyAll(int fdFrom, int fdTo) {
  char buffer[65536];
  off_t offset = 0;
  for (;;) {
    const ssize_t cbRead = pread(fdFrom, buffer, sizeof buffer, offset);
    if (cbRead <= 0) {
      return cbRead == 0;
    }
    if (write(fdTo, buffer, static_cast<std::size_t>(cbRead)) != cbRead) {
      return false;
    }
    offset += cbRead;
  }
}

template <typename Visit>
void forEachFile(int fdFolder, Visit visit) {
  const int fdOwn = openat(fdFolder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const DirectoryPtr pDirectory(fdOwn < 0 ? nullptr : fdopendir(fdOwn));
  while (const dirent* const pEntry = pDirectory ? readdir(pDirectory.get()) : nullptr) {
    const std::string strName = pEntry->d_name;
    struct stat status{};
    if (fstatat(fdFolder, strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISREG(status.st_mode)) {
      visit(strName, status);
    }
  }
}

}  // namespace

std::optional<Outbox> Outbox::open() {
  if (!makeOwnFolder(OUTBOX_PATH, 0700)) {
    return std::nullopt;
  }
  UniqueFd fdFolder(::open(OUTBOX_PATH, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status{};
  if (!fdFolder || fstat(fdFolder.get(), &status) != 0) {
    return std::nullopt;
  }
  if (status.st_uid != geteuid() || (status.st_mode & 0022) != 0) {
    errno = EPERM;
    return std::nullopt;
  }
  return Outbox(std::move(fdFolder));
}

bool Outbox::hasRoomFor(std::size_t cbMessage) const {
  std::size_t cMessage = 0;
  std::size_t cbKept = 0;
  forEachFile(m_fdFolder.get(), [&](const std::string&, const struct stat& status) {
    ++cMessage;
    cbKept += static_cast<std::size_t>(status.st_size);
  });
  return cMessage < C_OUTBOX_MAX && cbKept + cbMessage <= CB_OUTBOX_MAX;
}

std::optional<OutboxEntry> Outbox::put(int fdMessage) const {
  struct stat status{};
  if (fstat(fdMessage, &status) != 0) {
    return std::nullopt;
  }
  if (!hasRoomFor(static_cast<std::size_t>(status.st_size))) {
    errno = ENOSPC;
    return std::nullopt;
  }
  const std::string strName = freshName();
  const std::string strNew = UNFINISHED + strName;
  UniqueFd fdNew(openat(m_fdFolder.get(), strNew.c_str(), O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!fdNew) {
    return std::nullopt;
  }
  // Lock the file before it gets its name, so that no other process hands it over, too.
  const bool blPut = flock(fdNew.get(), LOCK_EX | LOCK_NB) == 0 && fchmod(fdNew.get(), 0600) == 0 &&
                     copyAll(fdMessage, fdNew.get()) && fsync(fdNew.get()) == 0 &&
                     renameat(m_fdFolder.get(), strNew.c_str(), m_fdFolder.get(), strName.c_str()) == 0;
  if (!blPut) {
    const int iErrno = errno;
    unlinkat(m_fdFolder.get(), strNew.c_str(), 0);
    errno = iErrno;
    return std::nullopt;
  }
  fsync(m_fdFolder.get());
  return OutboxEntry(strName, std::move(fdNew));
}

std::vector<std::string> Outbox::names() const {
  std::vector<std::string> vecName;
  const std::time_t now = std::time(nullptr);
  forEachFile(m_fdFolder.get(), [&](const std::string& strName, const struct stat& status) {
    if (strName.front() != '.') {
      vecName.push_back(strName);
    } else if (strName.starts_with(UNFINISHED) && now - status.st_mtime > UNFINISHED_SECONDS_MAX) {
      unlinkat(m_fdFolder.get(), strName.c_str(), 0);
    }
  });
  std::sort(vecName.begin(), vecName.end());
  return vecName;
}

std::optional<OutboxEntry> Outbox::lock(const std::string& strName) const {
  UniqueFd fd(openat(m_fdFolder.get(), strName.c_str(), O_RDWR | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat opened{};
  struct stat named{};
  // The previous holder of the lock may have removed the file, and another file may have its name.
  if (!fd || flock(fd.get(), LOCK_EX | LOCK_NB) != 0 || fstat(fd.get(), &opened) != 0 ||
      fstatat(m_fdFolder.get(), strName.c_str(), &named, AT_SYMLINK_NOFOLLOW) != 0 || opened.st_ino != named.st_ino) {
    return std::nullopt;
  }
  return OutboxEntry(strName, std::move(fd));
}

void Outbox::remove(const OutboxEntry& entry) const {
  unlinkat(m_fdFolder.get(), entry.name().c_str(), 0);
}

bool Outbox::lockAll() const {
  return flock(m_fdFolder.get(), LOCK_EX | LOCK_NB) == 0;
}

}  // namespace orva
