#include "backup_target.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <random>
#include <sys/stat.h>
#include <vector>

#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

namespace {

/// What SQLite keeps beside a database, also when it is not there at the moment.
constexpr std::array<const char*, 4> DATABASE_SUFFIXES = {"", "-wal", "-shm", "-journal"};

bool isSame(const struct stat& left, const struct stat& right) {
  return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

/// The folder that a path lies in, and its name there. Links on the way are followed.
struct Place {
  explicit Place(const std::filesystem::path& path) : strName(path.filename()) {
    const std::filesystem::path folder = path.parent_path();
    blThere = stat(folder.empty() ? "." : folder.c_str(), &folderStatus) == 0;
  }
  Place(int fdFolder, std::string strIn) : strName(std::move(strIn)) { blThere = fstat(fdFolder, &folderStatus) == 0; }

  bool isIn(const struct stat& folder) const { return blThere && isSame(folderStatus, folder); }
  bool operator==(const Place& other) const { return isIn(other.folderStatus) && strName == other.strName; }

  std::string strName;
  struct stat folderStatus{};
  bool blThere = false;
};

/// A path, and where it leads to if it is a link.
void addWithTarget(const std::string& strPath, std::vector<std::string>& vecPaths) {
  std::error_code error;
  const std::filesystem::path target = std::filesystem::canonical(strPath, error);
  vecPaths.push_back(strPath);
  if (!error && target != strPath) {
    vecPaths.push_back(target);
  }
}

/// Every file that the server works with.
std::vector<std::string> ownFiles() {
  std::vector<std::string> vecDatabases;
  addWithTarget(DATABASE_PATH, vecDatabases);
  std::vector<std::string> vecPaths;
  for (const std::string& strDatabase : vecDatabases) {
    for (const char* szSuffix : DATABASE_SUFFIXES) {
      vecPaths.push_back(strDatabase + szSuffix);
    }
  }
  addWithTarget(CONFIG_PATH, vecPaths);
  addWithTarget(SETTINGS_PATH, vecPaths);
  return vecPaths;
}

/// By the name, which counts when nothing is there yet, or by the file, which may have a second name.
bool isOwnFile(const Place& place, const struct stat* pStatus) {
  const std::vector<std::string> vecOwn = ownFiles();
  return std::any_of(vecOwn.begin(), vecOwn.end(), [&](const std::string& strOwn) {
    struct stat own{};
    return place == Place(strOwn) || (pStatus != nullptr && stat(strOwn.c_str(), &own) == 0 && isSame(own, *pStatus));
  });
}

/// \return why nothing may be put there; empty when it may.
std::string whyNotTarget(int fdFolder, const std::string& strName) {
  struct stat status{};
  const bool blThere = strName.empty() || fstatat(fdFolder, strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (blThere && S_ISLNK(status.st_mode)) {
    return "it is a link; name the file that it leads to";
  }
  if (blThere && !S_ISREG(status.st_mode)) {
    return "it is no plain file";
  }
  const Place place(fdFolder, strName);
  if (isOwnFile(place, blThere ? &status : nullptr)) {
    return "it is a file of the store or the configuration itself";
  }
  // Whatever else lies or will lie there, copies that a restore keeps for one, is not to be replaced either.
  struct stat folder{};
  return stat(STORE_FOLDER, &folder) == 0 && place.isIn(folder) ? "the folder of the store is for the store alone" : "";
}

UniqueFd openFolder(const std::string& strFile) {
  const std::filesystem::path folder = std::filesystem::path(strFile).parent_path();
  return UniqueFd(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

/// A file of our own in a folder in which others may write, too; gone again unless it was put in its place. It is
/// written through the descriptor alone, for its name may soon be that of something else.
class Draft {
public:
  Draft(int fdFolder, const std::string& strTarget)
      : m_fdFolder(fdFolder),
        m_strTarget(strTarget),
        m_strName(fmt::format("{}.{:08x}{:08x}", strTarget, std::random_device()(), std::random_device()())),
        m_fd(openat(fdFolder, m_strName.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {}
  ~Draft() {
    if (m_fd.isOpen() && !m_blPut) {
      unlinkat(m_fdFolder, m_strName.c_str(), 0);
    }
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;

  /// \return false when something failed; errno tells what.
  bool write(std::string_view strContent) const {
    while (m_fd.isOpen() && !strContent.empty()) {
      const ssize_t cb = ::write(m_fd.get(), strContent.data(), strContent.size());
      if (cb < 0 && errno != EINTR) {
        return false;
      }
      strContent.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(cb, 0)));
    }
    return m_fd.isOpen() && fchmod(m_fd.get(), 0600) == 0 && fsync(m_fd.get()) == 0;
  }

  bool put() {
    m_blPut = renameat(m_fdFolder, m_strName.c_str(), m_fdFolder, m_strTarget.c_str()) == 0;
    return m_blPut && fsync(m_fdFolder) == 0;
  }

private:
  int m_fdFolder;
  std::string m_strTarget;
  std::string m_strName;
  UniqueFd m_fd;
  bool m_blPut = false;
};

[[noreturn]] void failErrno(const std::string& strFile) {
  throw Failure(fmt::format("cannot write {}: {}", strFile, std::strerror(errno)));
}

}  // namespace

BackupTarget::BackupTarget(const std::string& strFile)
    : m_strFile(strFile), m_strName(std::filesystem::path(strFile).filename()), m_folder(openFolder(strFile)) {
  if (!m_folder.isOpen()) {
    failErrno(strFile);
  }
  if (const std::string strWhy = whyNotTarget(m_folder.get(), m_strName); !strWhy.empty()) {
    throw Failure(fmt::format("nothing is backed up to {}: {}", strFile, strWhy));
  }
}

void BackupTarget::write(std::string_view strContent) const {
  const DeferredSignals deferred;
  Draft draft(m_folder.get(), m_strName);
  if (!draft.write(strContent) || !draft.put()) {
    failErrno(m_strFile);
  }
}

}  // namespace Host
