#include "task_folder.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <memory>
#include <system_error>

#include "orva_platform.h"

#include "common/support/failure.h"

namespace Host {

namespace {

constexpr int OPEN_FOLDER = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// A part of a path does not exist.
class Missing : public Failure {
public:
  using Failure::Failure;
};

/// No task can have such a name.
std::string asideName(const std::string& strName, unsigned uNumber) {
  return fmt::format("{}~{}", strName, uNumber);
}

gid_t groupOf(uid_t owner) {
  PORVAUSER pUser = nullptr;
  ORVAUserGetByUID(owner, &pUser);
  const std::unique_ptr<ORVAUSER, decltype(&ORVAUserFree)> guard(pUser, &ORVAUserFree);
  return pUser != nullptr ? pUser->pw_gid : static_cast<gid_t>(-1);
}

bool isEmptyFolder(const UniqueFd& place, const std::string& strName) {
  const UniqueFd fd(openat(place.get(), strName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  std::error_code error;
  const std::filesystem::directory_iterator entries(fmt::format("/proc/self/fd/{}", fd.get()), error);
  return fd.isOpen() && !error && entries == std::filesystem::directory_iterator();
}

/// Tells whether the folder is prepared already.
bool isReady(const UniqueFd& place, const std::string& strTask, uid_t owner) {
  struct stat status{};
  return fstatat(place.get(), strTask.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == owner && (status.st_mode & 07777) == 0700;
}

/// Tells whether the owner must not get the existing entry: a folder of an earlier owner, a folder that others can
/// write to, a link, a file. Another user could have prepared its content.
bool isOthers(const UniqueFd& place, const std::string& strTask, uid_t owner) {
  struct stat status{};
  if (fstatat(place.get(), strTask.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) {
    return false;
  }
  // An empty folder of root was just created. Output of a task of root is not given to another user.
  const bool blFresh = status.st_uid == 0 && (status.st_mode & 077) == 0 && isEmptyFolder(place, strTask);
  const bool blOpen = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  return !S_ISDIR(status.st_mode) || blOpen || (status.st_uid != owner && !blFresh);
}

/// The owner of the task can create any file there, also a hard link to a file of another user.
UniqueFd openPlainFileAt(const UniqueFd& parent, const char* szFile, const std::string& strPath) {
  UniqueFd file(openat(parent.get(), szFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) {
    failErrno("open", strPath);
  }
  const struct stat status = statusOf(file, strPath);
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1) {
    throw Failure(fmt::format("{} is not shown: it is not a regular file", strPath));
  }
  return file;
}

}  // namespace

[[noreturn]] void failErrno(const char* szDo, const std::string& strPath) {
  const int iError = errno;
  // The error of O_NOFOLLOW for a link depends on the other flags, and neither text would help.
  if (iError == ELOOP || iError == ENOTDIR) {
    throw Failure(fmt::format("cannot {} {}: it is a link, or not a folder", szDo, strPath));
  }
  const std::string strText = fmt::format("cannot {} {}: {}", szDo, strPath, std::strerror(iError));
  if (iError == ENOENT) {
    throw Missing(strText);
  }
  throw Failure(strText);
}

std::optional<UniqueFd> unlessMissing(const std::function<UniqueFd()>& fnOpen) {
  try {
    return fnOpen();
  } catch (const Missing&) {
    return std::nullopt;
  }
}

struct stat statusOf(const UniqueFd& fd, const std::string& strPath) {
  struct stat status{};
  if (fstat(fd.get(), &status) < 0) {
    failErrno("examine", strPath);
  }
  return status;
}

UniqueFd openFolderAt(const UniqueFd& parent, const std::string& strName, const std::string& strPath) {
  UniqueFd fd(openat(parent.get(), strName.c_str(), OPEN_FOLDER));
  if (!fd.isOpen()) {
    failErrno("open", strPath);
  }
  return fd;
}

void makeFolderAt(const UniqueFd& parent, const std::string& strName, const std::string& strPath, mode_t mode) {
  if (mkdirat(parent.get(), strName.c_str(), mode) < 0 && errno != EEXIST) {
    failErrno("create", strPath);
  }
}

bool hasEntry(const UniqueFd& folder, const std::string& strName) {
  struct stat status{};
  return fstatat(folder.get(), strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

void renameAt(const UniqueFd& folder, const std::string& strOld, const std::string& strNew,
              const std::string& strPath) {
  if (renameat(folder.get(), strOld.c_str(), folder.get(), strNew.c_str()) < 0) {
    failErrno("move", strPath + "/" + strOld);
  }
}

std::string freeAsideName(const UniqueFd& folder, const std::string& strName) {
  unsigned uNumber = 1;
  while (hasEntry(folder, asideName(strName, uNumber))) {
    ++uNumber;
  }
  return asideName(strName, uNumber);
}

std::string moveAsideAt(const UniqueFd& folder, const std::string& strName, const std::string& strPath) {
  if (!hasEntry(folder, strName)) {
    return {};
  }
  const std::string strAside = freeAsideName(folder, strName);
  renameAt(folder, strName, strAside, strPath);
  return strPath + "/" + strAside;
}

std::vector<std::string> foldersAt(const UniqueFd& place, const std::string& strTask) {
  std::vector<std::string> vecFolders;
  if (hasEntry(place, strTask)) {
    vecFolders.push_back(strTask);
  }
  std::string strAside = asideName(strTask, 1);
  for (unsigned uNumber = 1; hasEntry(place, strAside); strAside = asideName(strTask, ++uNumber)) {
    vecFolders.push_back(strAside);
  }
  return vecFolders;
}

std::optional<UniqueFd> findRunFileAt(const UniqueFd& place, const std::string& strPath, const std::string& strStart,
                                      const char* szFile) {
  return unlessMissing([&] {
    const UniqueFd task = openFolderAt(place, std::filesystem::path(strPath).filename(), strPath);
    const std::string strRunPath = strPath + "/" + strStart;
    const UniqueFd run = openFolderAt(task, strStart, strRunPath);
    return openPlainFileAt(run, szFile, strRunPath + "/" + szFile);
  });
}

std::string prepareAt(const UniqueFd& place, const std::string& strTask, uid_t owner, const std::string& strPlace) {
  if (isReady(place, strTask, owner)) {
    return {};
  }
  const std::string strPath = strPlace + "/" + strTask;
  const std::string strAside = isOthers(place, strTask, owner) ? moveAsideAt(place, strTask, strPlace) : std::string();
  makeFolderAt(place, strTask, strPath, 0700);
  const UniqueFd fd = openFolderAt(place, strTask, strPath);
  // Only root can have changed the folder since the check.
  if (fchown(fd.get(), owner, groupOf(owner)) < 0) {
    failErrno("hand over", strPath);
  }
  if (fchmod(fd.get(), 0700) < 0) {
    failErrno("close to others", strPath);
  }
  return strAside;
}

}  // namespace Host
