#include "run_folders.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <optional>
#include <sys/stat.h>

#include "common/text/stored_time.h"
#include "folder_tree.h"
#include "run_files.h"
#include "task_folder.h"

namespace Host {

namespace {

std::string below(const std::string& strPath, const std::string& strName) {
  return fmt::format("{}/{}", strPath, strName);
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
  const std::optional<UniqueFd> run = start ? openFolder(task, strName, strPath) : std::nullopt;
  if (!run) {
    return std::nullopt;
  }
  const Json::Int64 iChanged = statusOf(*run, strPath).st_mtime;
  RunFolder kept{strFolder, *start, std::min(trueTime(*start), iChanged), 0, true, statusOf(task, strPath).st_uid};
  bool blRun = false;
  for (const std::string& strEntry : entriesOf(*run, strPath)) {
    blRun = blRun || isRunFile(strEntry);
    kept.blOnlyRunFiles = kept.blOnlyRunFiles && isRunFile(strEntry);
  }
  kept.cb = blRun ? sizeOfTree(*run, strPath) : 0;
  return blRun ? std::optional(kept) : std::nullopt;
}

/// Opens the folder of a task; nothing when there is none.
std::optional<UniqueFd> openTaskFolder(const OutputPlace& place, const std::string& strFolder) {
  if (!OutputPlace::isFolderName(strFolder)) {
    return std::nullopt;
  }
  const std::optional<UniqueFd> folder = place.openExisting();
  return folder ? openFolder(*folder, strFolder, below(place.path(), strFolder)) : std::nullopt;
}

std::string runPath(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  return fmt::format("{}/{}/{}", place.path(), strFolder, iStartTime);
}

/// Opens the folder of a run; nothing when there is none.
std::optional<UniqueFd> openRunFolder(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  const std::optional<UniqueFd> task = openTaskFolder(place, strFolder);
  return task ? openFolder(*task, std::to_string(iStartTime), runPath(place, strFolder, iStartTime)) : std::nullopt;
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
    const std::optional<UniqueFd> task = openFolder(*folder, strFolder, strTaskPath);
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
  std::sort(task.vecStarts.begin(), task.vecStarts.end(),
            [](Json::Int64 iLeft, Json::Int64 iRight) { return trueTime(iLeft) > trueTime(iRight); });
  return task;
}

bool hasKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  return openRunFolder(place, strFolder, iStartTime).has_value();
}

std::uint64_t sizeOfKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  const std::optional<UniqueFd> run = openRunFolder(place, strFolder, iStartTime);
  return run ? sizeOfTree(*run, runPath(place, strFolder, iStartTime)) : 0;
}

void removeKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime) {
  if (const std::optional<UniqueFd> task = openTaskFolder(place, strFolder)) {
    removeTree(*task, std::to_string(iStartTime), runPath(place, strFolder, iStartTime));
  }
}

}  // namespace Host
