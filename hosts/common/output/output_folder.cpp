#include "output_folder.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <functional>
#include <memory>
#include <sys/stat.h>
#include <system_error>

#include "orva_platform.h"

#include "common/config/scheduler_section.h"
#include "common/server/shares.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

constexpr int OPEN_FOLDER = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;

/// Something on a path is not there.
class Missing : public Failure {
public:
  using Failure::Failure;
};

[[noreturn]] void failErrno(const char* szDo, const std::string& strPath) {
  const int iError = errno;
  // What O_NOFOLLOW says about a link depends on the other flags; neither text would help.
  if (iError == ELOOP || iError == ENOTDIR) {
    throw Failure(fmt::format("cannot {} {}: it is no folder, or a link", szDo, strPath));
  }
  const std::string strText = fmt::format("cannot {} {}: {}", szDo, strPath, std::strerror(iError));
  if (iError == ENOENT) {
    throw Missing(strText);
  }
  throw Failure(strText);
}

/// Runs what opens something; gives nothing when it is not there.
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

/// Who can change a folder can swap what is in it, after it has been looked at.
void checkGuarded(const UniqueFd& fd, const std::string& strPath) {
  const struct stat status = statusOf(fd, strPath);
  if (status.st_uid != 0) {
    throw Failure(
        fmt::format("the output folder {} belongs to user {}, not to root: its owner could swap what root "
                    "runs from there",
                    strPath, status.st_uid));
  }
  // Also in a sticky one: the owner of a task's folder could put a link in its place.
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    throw Failure(
        fmt::format("the output folder {} may be changed by others (mode {:04o}): they could swap what root "
                    "runs from there",
                    strPath, status.st_mode & 07777));
  }
}

UniqueFd openFolderAt(const UniqueFd& parent, const std::string& strName, const std::string& strPath) {
  UniqueFd fd(openat(parent.get(), strName.c_str(), OPEN_FOLDER));
  if (!fd.isOpen()) {
    failErrno("open", strPath);
  }
  return fd;
}

/// The task's owner can put anything there, a second name of somebody else's file too.
UniqueFd openPlainFileAt(const UniqueFd& parent, const char* szFile, const std::string& strPath) {
  UniqueFd file(openat(parent.get(), szFile, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!file.isOpen()) {
    failErrno("open", strPath);
  }
  const struct stat status = statusOf(file, strPath);
  if (!S_ISREG(status.st_mode) || status.st_nlink != 1) {
    throw Failure(fmt::format("{} is not shown: it is no plain file", strPath));
  }
  return file;
}

void makeFolderAt(const UniqueFd& parent, const std::string& strName, const std::string& strPath, mode_t mode) {
  if (mkdirat(parent.get(), strName.c_str(), mode) < 0 && errno != EEXIST) {
    failErrno("create", strPath);
  }
}

void checkOneStep(const std::string& strTask) {
  if (!OutputFolder::isFolderName(strTask)) {
    throw Failure(fmt::format("the task \"{}\" can have no output folder: its name is no name of a folder", strTask));
  }
}

/// Whatever has the name: a link is not followed.
bool hasEntry(const UniqueFd& folder, const std::string& strName) {
  struct stat status{};
  return fstatat(folder.get(), strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

/// Only root can change the folder, so what has been looked at stays.
void renameAt(const UniqueFd& folder, const std::string& strOld, const std::string& strNew,
              const std::string& strPath) {
  if (renameat(folder.get(), strOld.c_str(), folder.get(), strNew.c_str()) < 0) {
    failErrno("move", strPath + "/" + strOld);
  }
}

/// No task can have such a name.
std::string asideName(const std::string& strName, unsigned uNumber) {
  return fmt::format("{}~{}", strName, uNumber);
}

/// The first one that is free.
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

std::vector<std::string> foldersAt(const UniqueFd& base, const std::string& strTask) {
  std::vector<std::string> vecFolders;
  if (hasEntry(base, strTask)) {
    vecFolders.push_back(strTask);
  }
  std::string strAside = asideName(strTask, 1);
  for (unsigned uNumber = 1; hasEntry(base, strAside); strAside = asideName(strTask, ++uNumber)) {
    vecFolders.push_back(strAside);
  }
  return vecFolders;
}

/// \param strPath  of the folder in the base that has the folder of the run.
std::optional<UniqueFd> findRunFileAt(const UniqueFd& base, const std::string& strPath, const std::string& strStart,
                                      const char* szFile) {
  return unlessMissing([&] {
    const UniqueFd task = openFolderAt(base, std::filesystem::path(strPath).filename(), strPath);
    const std::string strRunPath = strPath + "/" + strStart;
    const UniqueFd run = openFolderAt(task, strStart, strRunPath);
    return openPlainFileAt(run, szFile, strRunPath + "/" + szFile);
  });
}

gid_t groupOf(uid_t owner) {
  PORVAUSER pUser = nullptr;
  ORVAUserGetByUID(owner, &pUser);
  const std::unique_ptr<ORVAUSER, decltype(&ORVAUserFree)> guard(pUser, &ORVAUserFree);
  return pUser != nullptr ? pUser->pw_gid : static_cast<gid_t>(-1);
}

bool isEmptyFolder(const UniqueFd& base, const std::string& strName) {
  const UniqueFd fd(openat(base.get(), strName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  std::error_code error;
  const std::filesystem::directory_iterator entries(fmt::format("/proc/self/fd/{}", fd.get()), error);
  return fd.isOpen() && !error && entries == std::filesystem::directory_iterator();
}

/// Tells whether the folder is as it was made ready before.
bool isReady(const UniqueFd& base, const std::string& strTask, uid_t owner) {
  struct stat status{};
  return fstatat(base.get(), strTask.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode) &&
         status.st_uid == owner && (status.st_mode & 07777) == 0700;
}

/// Tells whether something stands in the place of a task's folder that its owner cannot be given: the folder of an
/// earlier owner, an open folder, a link, a file. What is in it could have been prepared for whoever comes.
bool isOthers(const UniqueFd& base, const std::string& strTask, uid_t owner) {
  struct stat status{};
  if (fstatat(base.get(), strTask.c_str(), &status, AT_SYMLINK_NOFOLLOW) < 0) {
    return false;
  }
  // Root's own closed and empty folder is one that was just created; what a task of root has left is not handed on.
  const bool blFresh = status.st_uid == 0 && (status.st_mode & 077) == 0 && isEmptyFolder(base, strTask);
  const bool blOpen = (status.st_mode & (S_IWGRP | S_IWOTH)) != 0;
  return !S_ISDIR(status.st_mode) || blOpen || (status.st_uid != owner && !blFresh);
}

/// \return where that is now which was in its place; empty when there was nothing.
std::string prepareAt(const UniqueFd& base, const std::string& strTask, uid_t owner, const std::string& strBase) {
  checkOneStep(strTask);
  if (isReady(base, strTask, owner)) {
    return {};
  }
  const std::string strPath = strBase + "/" + strTask;
  const std::string strAside = isOthers(base, strTask, owner) ? moveAsideAt(base, strTask, strBase) : std::string();
  makeFolderAt(base, strTask, strPath, 0700);
  const UniqueFd fd = openFolderAt(base, strTask, strPath);
  // Only root can have created or renamed anything here since it was looked at.
  if (fchown(fd.get(), owner, groupOf(owner)) < 0) {
    failErrno("hand over", strPath);
  }
  if (fchmod(fd.get(), 0700) < 0) {
    failErrno("close to others", strPath);
  }
  return strAside;
}

}  // namespace

std::optional<OutputFolder> OutputFolder::resolve(const std::string& strOutput) {
  const std::string strShare = strOutput.substr(0, strOutput.find('/'));
  std::array<char, PATH_MAX> szPath{};
  if (strShare.empty() || ORVASharePathGet(strShare.c_str(), szPath.data(), static_cast<int>(szPath.size())) < 0) {
    return std::nullopt;
  }
  OutputFolder folder;
  folder.m_strSharePath = szPath.data();
  folder.m_strInside = strOutput.size() > strShare.size() ? strOutput.substr(strShare.size() + 1) : std::string();
  folder.m_strPath = folder.m_strSharePath + (folder.m_strInside.empty() ? "" : "/" + folder.m_strInside);
  return folder;
}

OutputFolder OutputFolder::of(const std::string& strOutput) {
  std::optional<OutputFolder> folder = resolve(strOutput);
  if (!folder) {
    const std::string strShare = strOutput.substr(0, strOutput.find('/'));
    throw Failure(fmt::format("the output folder \"{}\" cannot be used: the share \"{}\": {}", strOutput, strShare,
                              whyShareUnusable(strShare)));
  }
  return *folder;
}

std::optional<std::string> OutputFolder::configuredOutput() {
  const Json::Value jConfig = schedulerConfig();
  const bool blKept = jConfig.isMember("output_path") && boolOf(jConfig, "enable_output", true);
  return blKept ? std::optional<std::string>(textOf(jConfig, "output_path")) : std::nullopt;
}

std::optional<OutputFolder> OutputFolder::configured() {
  const std::optional<std::string> output = configuredOutput();
  return output ? std::optional<OutputFolder>(of(*output)) : std::nullopt;
}

std::optional<OutputFolder> OutputFolder::place() {
  const Json::Value jConfig = schedulerConfig();
  if (!jConfig.isMember("output_path")) {
    return std::nullopt;
  }
  return of(textOf(jConfig, "output_path"));
}

std::vector<OutputFolder> OutputFolder::places(std::vector<std::string>& vecUnknown) {
  std::vector<OutputFolder> vecPlaces;
  for (const std::string& strOutput : outputPlaces(schedulerConfig())) {
    if (std::optional<OutputFolder> folder = resolve(strOutput)) {
      vecPlaces.push_back(std::move(*folder));
    } else {
      vecUnknown.push_back(strOutput);
    }
  }
  return vecPlaces;
}

std::vector<OutputFolder> OutputFolder::placesOf(const std::string& strTask) {
  std::vector<std::string> vecUnknown;
  return isFolderName(strTask) && place() ? places(vecUnknown) : std::vector<OutputFolder>();
}

/// Goes from the share's folder inwards. The path of the share itself is the administrator's and may hold links.
UniqueFd OutputFolder::openBase(bool blCreate) const {
  UniqueFd fd(open(m_strSharePath.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!fd.isOpen()) {
    failErrno("open", m_strSharePath);
  }
  std::string strPath = m_strSharePath;
  checkGuarded(fd, strPath);
  for (std::size_t iStart = 0; iStart < m_strInside.size();) {
    const std::size_t iEnd = std::min(m_strInside.find('/', iStart), m_strInside.size());
    const std::string strName = m_strInside.substr(iStart, iEnd - iStart);
    iStart = iEnd + 1;
    if (strName.empty()) {
      continue;
    }
    strPath += "/" + strName;
    if (blCreate) {
      makeFolderAt(fd, strName, strPath, 0711);
    }
    fd = openFolderAt(fd, strName, strPath);
    checkGuarded(fd, strPath);
  }
  return fd;
}

bool OutputFolder::isFolderName(const std::string& strTask) {
  return !strTask.empty() && strTask != "." && strTask != ".." && strTask.find('/') == std::string::npos;
}

std::map<std::string, std::string> OutputFolder::prepare(const std::map<std::string, uid_t>& mapOwners) const {
  std::map<std::string, std::string> mapAside;
  const UniqueFd base = openBase(true);
  for (const auto& [strTask, owner] : mapOwners) {
    if (const std::string strAside = prepareAt(base, strTask, owner, m_strPath); !strAside.empty()) {
      mapAside[strTask] = strAside;
    }
  }
  return mapAside;
}

std::string OutputFolder::moveAside(const std::string& strTask) const {
  checkOneStep(strTask);
  const std::optional<UniqueFd> base = openExisting();
  return base ? moveAsideAt(*base, strTask, m_strPath) : std::string();
}

std::vector<OutputFolder::Move> OutputFolder::rename(const std::string& strTask, const std::string& strNew) const {
  checkOneStep(strTask);
  checkOneStep(strNew);
  const std::optional<UniqueFd> existing = openExisting();
  if (!existing) {
    return {};
  }
  const UniqueFd& base = *existing;
  std::vector<Move> vecMoves;
  const auto move = [&](const std::string& strOld, const std::string& strTo) {
    renameAt(base, strOld, strTo, m_strPath);
    vecMoves.emplace_back(strOld, strTo);
  };
  try {
    for (const std::string& strFolder : foldersAt(base, strTask)) {
      // It is no output of the task that gets the name.
      if (strFolder == strTask && hasEntry(base, strNew)) {
        move(strNew, freeAsideName(base, strNew));
      }
      move(strFolder, strFolder == strTask ? strNew : freeAsideName(base, strNew));
    }
  } catch (const Failure&) {
    moveBack(vecMoves);
    throw;
  }
  return vecMoves;
}

void OutputFolder::moveBack(const std::vector<Move>& vecMoves) const {
  const std::optional<UniqueFd> base = openExisting();
  for (auto it = vecMoves.rbegin(); base && it != vecMoves.rend(); ++it) {
    renameAt(*base, it->second, it->first, m_strPath);
  }
}

std::vector<std::string> OutputFolder::foldersOf(const std::string& strTask) const {
  const std::optional<UniqueFd> base = isFolderName(strTask) ? openExisting() : std::nullopt;
  return base ? foldersAt(*base, strTask) : std::vector<std::string>();
}

std::string OutputFolder::taskOf(const std::string& strFolder) {
  const std::size_t iTilde = strFolder.rfind('~');
  const bool blAside = iTilde != std::string::npos && iTilde + 1 < strFolder.size() &&
                       strFolder.find_first_not_of("0123456789", iTilde + 1) == std::string::npos;
  return blAside ? strFolder.substr(0, iTilde) : strFolder;
}

std::optional<UniqueFd> OutputFolder::openExisting() const {
  return unlessMissing([&] { return openBase(false); });
}

std::optional<UniqueFd> OutputFolder::findRunFile(const std::string& strTask, Json::Int64 iStartTime,
                                                  const char* szFile) const {
  checkOneStep(strTask);
  const std::optional<UniqueFd> base = openExisting();
  std::optional<UniqueFd> file;
  if (!base) {
    return file;
  }
  // What the runs of an earlier owner have left was put aside when the task got another one.
  for (const std::string& strFolder : foldersAt(*base, strTask)) {
    file = findRunFileAt(*base, m_strPath + "/" + strFolder, std::to_string(iStartTime), szFile);
    if (file) {
      break;
    }
  }
  return file;
}

std::string putOutputAside(const std::string& strTask) {
  std::string strAside;
  try {
    for (const OutputFolder& place : OutputFolder::placesOf(strTask)) {
      if (const std::string strPath = place.moveAside(strTask); !strPath.empty()) {
        strAside += (strAside.empty() ? "is kept in " : ", ") + strPath;
      }
    }
  } catch (const Failure& error) {
    return fmt::format("stays where it is: {}", error.what());
  }
  return strAside;
}

}  // namespace Host
