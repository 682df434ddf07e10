#include "backup_target.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <sys/stat.h>

#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/support/files.h"
#include "common/support/paths.h"

namespace Host {

namespace {

bool isFolder(int fdFolder, const std::filesystem::path& path) {
  struct stat folder{};
  struct stat other{};
  return fstat(fdFolder, &folder) == 0 && stat(path.c_str(), &other) == 0 && folder.st_dev == other.st_dev &&
         folder.st_ino == other.st_ino;
}

bool isFile(int fdFolder, const std::string& strName, const std::filesystem::path& path) {
  return strName == path.filename() && isFolder(fdFolder, path.parent_path());
}

/// Tells whether a file is one of the server's, or one that a link in its place leads to.
bool isOwnFile(int fdFolder, const std::string& strName) {
  const char* const PATHS[] = {DATABASE_PATH, CONFIG_PATH, OWN_EVENTS_PATH, SETTINGS_PATH};
  return std::any_of(std::begin(PATHS), std::end(PATHS), [&](const char* szPath) {
    std::error_code error;
    return isFile(fdFolder, strName, szPath) || isFile(fdFolder, strName, std::filesystem::canonical(szPath, error));
  });
}

/// \return why nothing may be put there; empty when it may.
std::string whyNotTarget(int fdFolder, const std::string& strName) {
  struct stat status{};
  const bool blThere = strName.empty() || fstatat(fdFolder, strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
  if (blThere && S_ISLNK(status.st_mode)) {
    return "it is a link; name its target";
  }
  if (blThere && !S_ISREG(status.st_mode)) {
    return "it is not a regular file";
  }
  if (isOwnFile(fdFolder, strName)) {
    return "it belongs to the store or the configuration";
  }
  std::error_code error;
  const std::filesystem::path database = std::filesystem::canonical(DATABASE_PATH, error);
  // SQLite has more files in that folder.
  const bool blStore = isFolder(fdFolder, STORE_FOLDER) || (!error && isFolder(fdFolder, database.parent_path()));
  return blStore ? "it would be in the folder of the store" : "";
}

UniqueFd openFolder(const std::string& strFile) {
  const std::filesystem::path folder = std::filesystem::path(strFile).parent_path();
  return UniqueFd(open(folder.empty() ? "." : folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

}  // namespace

BackupTarget::BackupTarget(const std::string& strFile) : m_strFile(strFile), m_folder(openFolder(strFile)) {
  if (!m_folder.isOpen()) {
    throw Failure(fmt::format("cannot write {}: {}", strFile, std::strerror(errno)));
  }
  if (const std::string strWhy = whyNotTarget(m_folder.get(), std::filesystem::path(strFile).filename());
      !strWhy.empty()) {
    throw Failure(fmt::format("cannot back up to {}: {}", strFile, strWhy));
  }
}

void BackupTarget::write(const std::function<void(int)>& fnWrite) const {
  const DeferredSignals deferred;
  replaceFileAt(m_folder.get(), m_strFile, fnWrite, 0600);
}

UniqueFd BackupTarget::openPresent() const {
  const std::string strName = std::filesystem::path(m_strFile).filename();
  return UniqueFd(openat(m_folder.get(), strName.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
}

}  // namespace Host
