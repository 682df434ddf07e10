#include "backup_target.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fmt/format.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include "installed_paths.h"

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

}  // namespace

std::string whyNotBackupTarget(const std::string& strFile) {
  struct stat status{};
  const bool blThere = lstat(strFile.c_str(), &status) == 0;
  if (blThere && S_ISLNK(status.st_mode)) {
    return fmt::format("nothing is backed up to {}: it is a link; name the file that it leads to", strFile);
  }
  if (blThere && !S_ISREG(status.st_mode)) {
    return fmt::format("nothing is backed up to {}: it is no plain file", strFile);
  }
  const Place place(strFile);
  if (isOwnFile(place, blThere ? &status : nullptr)) {
    return fmt::format("nothing is backed up to {}: it is a file of the store or the configuration itself", strFile);
  }
  // Whatever else lies or will lie there, copies that a restore keeps for one, is not to be replaced either.
  struct stat folder{};
  if (stat(STORE_FOLDER, &folder) == 0 && place.isIn(folder)) {
    return fmt::format("nothing is backed up to {}: the folder of the store is for the store alone", strFile);
  }
  return {};
}

}  // namespace Host
