#include "run_folders.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstring>
#include <dirent.h>
#include <fcntl.h>
#include <fmt/format.h>
#include <memory>
#include <optional>
#include <sys/stat.h>

#include "common/support/failure.h"
#include "run_files.h"

namespace Host {

namespace {

/// No run needs deeper folders; each level costs a descriptor.
constexpr int MAX_DEPTH = 64;
constexpr std::uint64_t CB_BLOCK = 512;

std::string below(const std::string& strPath, const std::string& strName) {
  return fmt::format("{}/{}", strPath, strName);
}

[[noreturn]] void failAt(const char* szDo, const std::string& strPath) {
  throw Failure(fmt::format("cannot {} {}: {}", szDo, strPath, std::strerror(errno)));
}

/// Opens a folder; nothing when the name is missing or is not a folder.
std::optional<UniqueFd> openFolder(int fdParent, const std::string& strName, const std::string& strPath) {
  UniqueFd fd(openat(fdParent, strName.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (fd.isOpen()) {
    return fd;
  }
  if (errno != ENOENT && errno != ENOTDIR && errno != ELOOP) {
    failAt("open", strPath);
  }
  return std::nullopt;
}

struct CloseFolder {
  void operator()(DIR* pFolder) const { closedir(pFolder); }
};

std::vector<std::string> entriesOf(const UniqueFd& folder, const std::string& strPath) {
  // The stream closes its descriptor, so it gets a copy. Both share a position.
  const int fd = openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const std::unique_ptr<DIR, CloseFolder> pFolder(fd < 0 ? nullptr : fdopendir(fd));
  if (!pFolder) {
    failAt("list", strPath);
  }
  std::vector<std::string> vecNames;
  while (const dirent* const pEntry = readdir(pFolder.get())) {
    if (std::strcmp(pEntry->d_name, ".") != 0 && std::strcmp(pEntry->d_name, "..") != 0) {
      vecNames.emplace_back(pEntry->d_name);
    }
  }
  return vecNames;
}

dev_t deviceOf(const UniqueFd& folder) {
  struct stat status{};
  return fstat(folder.get(), &status) == 0 ? status.st_dev : 0;
}

std::uint64_t sizeBelow(const UniqueFd& folder, const std::string& strPath, int cDepth);

/// Does not enter other file systems.
std::uint64_t sizeOfFolder(const UniqueFd& parent, const std::string& strName, const std::string& strPath, int cDepth) {
  const std::optional<UniqueFd> folder =
      cDepth < MAX_DEPTH ? openFolder(parent.get(), strName, strPath) : std::optional<UniqueFd>();
  return folder && deviceOf(*folder) == deviceOf(parent) ? sizeBelow(*folder, strPath, cDepth + 1) : 0;
}

/// The space that files really take. Sparse files and hard links could claim any size, and cause the removal of other
/// output.
std::uint64_t sizeBelow(const UniqueFd& folder, const std::string& strPath, int cDepth) {
  std::uint64_t cb = 0;
  for (const std::string& strName : entriesOf(folder, strPath)) {
    struct stat status{};
    if (fstatat(folder.get(), strName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
      continue;
    }
    if (S_ISREG(status.st_mode) && status.st_nlink == 1) {
      cb += static_cast<std::uint64_t>(status.st_blocks) * CB_BLOCK;
    } else if (S_ISDIR(status.st_mode)) {
      cb += sizeOfFolder(folder, strName, below(strPath, strName), cDepth);
    }
  }
  return cb;
}

void removeBelow(const UniqueFd& folder, const std::string& strPath, int cDepth);

void removeEntry(const UniqueFd& folder, const std::string& strName, const std::string& strPath, int cDepth) {
  const std::optional<UniqueFd> inner = openFolder(folder.get(), strName, strPath);
  if (inner) {
    if (deviceOf(*inner) != deviceOf(folder)) {
      throw Failure(fmt::format("cannot remove {}: another file system is mounted there", strPath));
    }
    if (cDepth >= MAX_DEPTH) {
      throw Failure(fmt::format("cannot remove {}: it is more than {} folders deep", strPath, MAX_DEPTH));
    }
    removeBelow(*inner, strPath, cDepth + 1);
  }
  if (unlinkat(folder.get(), strName.c_str(), inner ? AT_REMOVEDIR : 0) < 0 && errno != ENOENT) {
    failAt("remove", strPath);
  }
}

void removeBelow(const UniqueFd& folder, const std::string& strPath, int cDepth) {
  for (const std::string& strName : entriesOf(folder, strPath)) {
    removeEntry(folder, strName, below(strPath, strName), cDepth);
  }
}

/// The start time in the name of a run folder.
std::optional<Json::Int64> readStartTime(const std::string& strName) {
  Json::Int64 iStart = 0;
  const auto [pEnd, code] = std::from_chars(strName.data(), strName.data() + strName.size(), iStart);
  const bool blNumber = code == std::errc() && pEnd == strName.data() + strName.size();
  return blNumber && std::to_string(iStart) == strName ? std::optional(iStart) : std::nullopt;
}

bool isRunFile(const std::string& strName) {
  return strName == OUTPUT_FILE || strName == SCRIPT_FILE;
}

/// Reads a folder that may be a run folder.
std::optional<RunFolder> readKeptOutput(const UniqueFd& task, const std::string& strFolder, const std::string& strName,
                                        const std::string& strPath) {
  const std::optional<Json::Int64> start = readStartTime(strName);
  const std::optional<UniqueFd> run = start ? openFolder(task.get(), strName, strPath) : std::nullopt;
  if (!run) {
    return std::nullopt;
  }
  struct stat status{};
  if (fstat(run->get(), &status) < 0) {
    failAt("examine", strPath);
  }
  RunFolder kept{strFolder, *start, std::min<Json::Int64>(*start, status.st_mtime), 0, true};
  bool blRun = false;
  for (const std::string& strEntry : entriesOf(*run, strPath)) {
    blRun = blRun || isRunFile(strEntry);
    kept.blOnlyRunFiles = kept.blOnlyRunFiles && isRunFile(strEntry);
  }
  kept.cb = blRun ? sizeBelow(*run, strPath, 0) : 0;
  return blRun ? std::optional(kept) : std::nullopt;
}

/// Opens the folder of a task; nothing when there is none.
std::optional<UniqueFd> openTaskFolder(const OutputPlace& place, const std::string& strFolder) {
  if (!OutputPlace::isFolderName(strFolder)) {
    return std::nullopt;
  }
  const std::optional<UniqueFd> folder = place.openExisting();
  return folder ? openFolder(folder->get(), strFolder, below(place.path(), strFolder)) : std::nullopt;
}

std::string runPath(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  return fmt::format("{}/{}/{}", place.path(), strFolder, iStartTime);
}

/// Opens the folder of a run; nothing when there is none.
std::optional<UniqueFd> openRunFolder(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  const std::optional<UniqueFd> task = openTaskFolder(place, strFolder);
  return task ? openFolder(task->get(), std::to_string(iStartTime), runPath(place, strFolder, iStartTime))
              : std::nullopt;
}

}  // namespace

std::vector<RunFolder> listRunFolders(const OutputPlace& place) {
  std::vector<RunFolder> vecKept;
  const std::optional<UniqueFd> folder = place.openExisting();
  if (!folder) {
    return vecKept;
  }
  for (const std::string& strFolder : entriesOf(*folder, place.path())) {
    const std::string strTaskPath = below(place.path(), strFolder);
    const std::optional<UniqueFd> task = openFolder(folder->get(), strFolder, strTaskPath);
    if (!task) {
      continue;
    }
    for (const std::string& strName : entriesOf(*task, strTaskPath)) {
      if (const std::optional<RunFolder> kept =
              readKeptOutput(*task, strFolder, strName, below(strTaskPath, strName))) {
        vecKept.push_back(*kept);
      }
    }
  }
  return vecKept;
}

std::vector<std::string> listTaskFolders(const OutputPlace& place) {
  const std::optional<UniqueFd> folder = place.openExisting();
  return folder ? entriesOf(*folder, place.path()) : std::vector<std::string>();
}

std::optional<TaskFolder> readTaskFolder(const OutputPlace& place, const std::string& strFolder) {
  const std::optional<UniqueFd> folder = openTaskFolder(place, strFolder);
  struct stat status{};
  if (!folder || fstat(folder->get(), &status) < 0) {
    return std::nullopt;
  }
  TaskFolder task{strFolder, status.st_uid, {}};
  for (const std::string& strName : entriesOf(*folder, below(place.path(), strFolder))) {
    if (const std::optional<Json::Int64> start = readStartTime(strName)) {
      task.vecStarts.push_back(*start);
    }
  }
  std::sort(task.vecStarts.rbegin(), task.vecStarts.rend());
  return task;
}

bool hasKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  return openRunFolder(place, strFolder, iStartTime).has_value();
}

std::uint64_t sizeOfKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  const std::optional<UniqueFd> run = openRunFolder(place, strFolder, iStartTime);
  return run ? sizeBelow(*run, runPath(place, strFolder, iStartTime), 0) : 0;
}

void removeKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  if (const std::optional<UniqueFd> task = openTaskFolder(place, strFolder)) {
    const std::string strName = std::to_string(iStartTime);
    removeEntry(*task, strName, runPath(place, strFolder, iStartTime), 0);
  }
}

}  // namespace Host
