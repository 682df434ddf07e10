#include "output_place.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/statvfs.h>

#include "orva_platform.h"

#include "common/config/scheduler_section.h"
#include "common/server/shares.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "task_folder.h"

namespace Host {

namespace {

/// A user who can write to a folder could exchange its content after the check.
void checkGuarded(const UniqueFd& fd, const std::string& strPath) {
  const struct stat status = statusOf(fd, strPath);
  if (status.st_uid != 0) {
    throw Failure(
        fmt::format("the output folder {} belongs to user {}, not to root: its owner could replace "
                    "scripts that root runs",
                    strPath, status.st_uid));
  }
  // The sticky bit does not help: the owner of a task folder could replace it by a link.
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    throw Failure(
        fmt::format("the output folder {} may be changed by others (mode {:04o}): they could replace "
                    "scripts that root runs",
                    strPath, status.st_mode & 07777));
  }
}

void checkOneStep(const std::string& strTask) {
  if (!OutputPlace::isFolderName(strTask)) {
    throw Failure(
        fmt::format("the task \"{}\" cannot have an output folder: its name is not a valid folder name", strTask));
  }
}

}  // namespace

std::optional<OutputPlace> OutputPlace::resolve(const std::string& strPlace) {
  const std::string strShare = strPlace.substr(0, strPlace.find('/'));
  std::array<char, PATH_MAX> szPath{};
  if (strShare.empty() || ORVASharePathGet(strShare.c_str(), szPath.data(), static_cast<int>(szPath.size())) < 0) {
    return std::nullopt;
  }
  OutputPlace place;
  place.m_strSharePath = szPath.data();
  place.m_strInside = strPlace.size() > strShare.size() ? strPlace.substr(strShare.size() + 1) : std::string();
  place.m_strPath = place.m_strSharePath + (place.m_strInside.empty() ? "" : "/" + place.m_strInside);
  return place;
}

OutputPlace OutputPlace::of(const std::string& strPlace) {
  std::optional<OutputPlace> place = resolve(strPlace);
  if (!place) {
    const std::string strShare = strPlace.substr(0, strPlace.find('/'));
    throw Failure(fmt::format("the output folder \"{}\" cannot be used: the share \"{}\": {}", strPlace, strShare,
                              whyShareUnusable(strShare)));
  }
  return *place;
}

std::optional<std::string> OutputPlace::enabledPath() {
  const Json::Value jConfig = schedulerConfig();
  const bool blKept = jConfig.isMember("output_path") && boolOf(jConfig, "enable_output", true);
  return blKept ? std::optional<std::string>(textOf(jConfig, "output_path")) : std::nullopt;
}

std::optional<OutputPlace> OutputPlace::enabled() {
  const std::optional<std::string> path = enabledPath();
  return path ? std::optional<OutputPlace>(of(*path)) : std::nullopt;
}

std::optional<OutputPlace> OutputPlace::configured() {
  const Json::Value jConfig = schedulerConfig();
  if (!jConfig.isMember("output_path")) {
    return std::nullopt;
  }
  return of(textOf(jConfig, "output_path"));
}

std::vector<OutputPlace> OutputPlace::places(std::vector<std::string>& vecUnknown) {
  std::vector<OutputPlace> vecPlaces;
  for (const std::string& strPlace : outputPlaces(schedulerConfig())) {
    if (std::optional<OutputPlace> place = resolve(strPlace)) {
      vecPlaces.push_back(std::move(*place));
    } else {
      vecUnknown.push_back(strPlace);
    }
  }
  return vecPlaces;
}

std::vector<OutputPlace> OutputPlace::placesOf(const std::string& strTask) {
  std::vector<std::string> vecUnknown;
  return isFolderName(strTask) && configured() ? places(vecUnknown) : std::vector<OutputPlace>();
}

/// Opens folder by folder, from the share inwards. The path of the share itself may contain links.
UniqueFd OutputPlace::openChecked(bool blCreate) const {
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

bool OutputPlace::isFolderName(const std::string& strTask) {
  return !strTask.empty() && strTask != "." && strTask != ".." && strTask.find('/') == std::string::npos;
}

std::map<std::string, std::string> OutputPlace::prepare(const std::map<std::string, uid_t>& mapOwners) const {
  std::map<std::string, std::string> mapAside;
  const UniqueFd folder = openChecked(true);
  for (const auto& [strTask, owner] : mapOwners) {
    checkOneStep(strTask);
    if (const std::string strAside = prepareAt(folder, strTask, owner, m_strPath); !strAside.empty()) {
      mapAside[strTask] = strAside;
    }
  }
  return mapAside;
}

std::uintmax_t OutputPlace::requireRoom() const {
  // A file takes less when it is empty, or small enough for its inode.
  constexpr std::array<char, 8192> SOME{};
  const UniqueFd base = openChecked(true);
  const UniqueFd file(openat(base.get(), ".", O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600));
  // Not every file system has files without a name.
  const bool blUnknown = !file.isOpen() && (errno == EOPNOTSUPP || errno == EISDIR);
  struct statvfs volume{};
  const auto cbSome = static_cast<ssize_t>(SOME.size());
  if ((!blUnknown && (!file.isOpen() || write(file.get(), SOME.data(), SOME.size()) != cbSome)) ||
      fstatvfs(base.get(), &volume) < 0) {
    const int iErrno = errno == 0 ? ENOSPC : errno;
    throw Failure(
        fmt::format("nothing can be written to the output folder {}: {}; no task can run until this is settled",
                    m_strPath, std::strerror(iErrno)));
  }
  return static_cast<std::uintmax_t>(volume.f_bavail) * volume.f_frsize;
}

std::string OutputPlace::moveAside(const std::string& strTask) const {
  checkOneStep(strTask);
  const std::optional<UniqueFd> folder = openExisting();
  return folder ? moveAsideAt(*folder, strTask, m_strPath) : std::string();
}

std::vector<OutputPlace::Move> OutputPlace::rename(const std::string& strTask, const std::string& strNew) const {
  checkOneStep(strTask);
  checkOneStep(strNew);
  const std::optional<UniqueFd> existing = openExisting();
  if (!existing) {
    return {};
  }
  const UniqueFd& folder = *existing;
  std::vector<Move> vecMoves;
  const auto move = [&](const std::string& strOld, const std::string& strTo) {
    renameAt(folder, strOld, strTo, m_strPath);
    vecMoves.emplace_back(strOld, strTo);
  };
  try {
    for (const std::string& strFolder : foldersAt(folder, strTask)) {
      // The output of another task, which had this name.
      if (strFolder == strTask && hasEntry(folder, strNew)) {
        move(strNew, freeAsideName(folder, strNew));
      }
      move(strFolder, strFolder == strTask ? strNew : freeAsideName(folder, strNew));
    }
  } catch (const Failure&) {
    moveBack(vecMoves);
    throw;
  }
  return vecMoves;
}

void OutputPlace::moveBack(const std::vector<Move>& vecMoves) const {
  const std::optional<UniqueFd> folder = openExisting();
  for (auto it = vecMoves.rbegin(); folder && it != vecMoves.rend(); ++it) {
    renameAt(*folder, it->second, it->first, m_strPath);
  }
}

std::vector<std::string> OutputPlace::foldersOf(const std::string& strTask) const {
  const std::optional<UniqueFd> folder = isFolderName(strTask) ? openExisting() : std::nullopt;
  return folder ? foldersAt(*folder, strTask) : std::vector<std::string>();
}

std::string OutputPlace::taskOf(const std::string& strFolder) {
  const std::size_t iTilde = strFolder.rfind('~');
  const bool blAside = iTilde != std::string::npos && iTilde + 1 < strFolder.size() &&
                       strFolder.find_first_not_of("0123456789", iTilde + 1) == std::string::npos;
  return blAside ? strFolder.substr(0, iTilde) : strFolder;
}

std::optional<UniqueFd> OutputPlace::openExisting() const {
  return unlessMissing([&] { return openChecked(false); });
}

std::optional<UniqueFd> OutputPlace::findRunFile(const std::string& strTask, Json::Int64 iStartTime,
                                                 const char* szFile) const {
  checkOneStep(strTask);
  const std::optional<UniqueFd> folder = openExisting();
  std::optional<UniqueFd> file;
  if (!folder) {
    return file;
  }
  // Output of an earlier owner was moved aside when the owner changed.
  for (const std::string& strFolder : foldersAt(*folder, strTask)) {
    file = findRunFileAt(*folder, m_strPath + "/" + strFolder, std::to_string(iStartTime), szFile);
    if (file) {
      break;
    }
  }
  return file;
}

std::string putOutputAside(const std::string& strTask) {
  std::string strText;
  const auto add = [&](const std::string& strPart) { strText += (strText.empty() ? "" : "; ") + strPart; };
  const auto move = [&](const OutputPlace& place) {
    try {
      if (const std::string strPath = place.moveAside(strTask); !strPath.empty()) {
        add("is kept in " + strPath);
      }
    } catch (const Failure& error) {
      add(fmt::format("stays in {}: {}", place.path(), error.what()));
    }
  };
  try {
    std::vector<std::string> vecUnknown;
    const std::vector<OutputPlace> vecPlaces =
        OutputPlace::isFolderName(strTask) ? OutputPlace::places(vecUnknown) : std::vector<OutputPlace>();
    std::for_each(vecPlaces.begin(), vecPlaces.end(), move);
  } catch (const Failure& error) {
    add(fmt::format("stays where it is: {}", error.what()));
  }
  return strText;
}

}  // namespace Host
