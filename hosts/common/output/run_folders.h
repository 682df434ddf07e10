/// \file run_folders.h
/// The folders of runs in a place: their size, and how they are removed.
///
/// The owner of a task can change its folder at any time: create links, mount file systems, nest folders. So all access
/// goes through descriptors, and no link is followed.

#pragma once

#include <cstdint>
#include <json/value.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "output_place.h"

namespace Host {

/// The folder of one run.
struct RunFolder {
  std::string strFolder;        ///< name of the task folder
  Json::Int64 iStartTime = 0;   ///< when the run started, as the name of the folder says: a stored time
  Json::Int64 iSince = 0;       ///< start of the run, or an earlier change of the folder
  std::uint64_t cb = 0;         ///< size
  bool blOnlyRunFiles = false;  ///< it contains only output and script
  uid_t owner = 0;              ///< of the task folder: who has filled it
};

/// Lists the run folders in a place: folders with an output or a script.
std::vector<RunFolder> listRunFolders(const OutputPlace& place);

/// The folder of a task.
struct TaskFolder {
  std::string strName;
  uid_t owner = 0;
  std::vector<Json::Int64> vecStarts;  ///< start times of its run folders, the newest first
};

/// The names of all entries in a place, which may be task folders.
std::vector<std::string> listTaskFolders(const OutputPlace& place);

/// Reads a task folder; nothing when there is none.
std::optional<TaskFolder> readTaskFolder(const OutputPlace& place, const std::string& strFolder);

/// Tells whether a run folder exists.
bool hasKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime);

/// The size of a run folder; 0 when there is none.
std::uint64_t sizeOfKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime);

/// Removes a run folder, if there is one.
/// \throw Failure when it cannot be removed completely.
void removeKeptOutput(const OutputPlace& place, const std::string& strFolder, Json::Int64 iStartTime);

}  // namespace Host
