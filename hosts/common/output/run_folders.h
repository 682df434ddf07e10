/// \file run_folders.h
/// What runs left in a place of output: how much it is, and how it is removed.
///
/// The owner of a task can do in its folder what he likes, while it is being looked at too: links, other file systems,
/// folders without end. So everything goes through descriptors and no name is followed.

#pragma once

#include <cstdint>
#include <json/value.h>
#include <optional>
#include <string>
#include <sys/types.h>
#include <vector>

#include "output_folder.h"

namespace Host {

/// The folder of one run.
struct RunFolder {
  std::string strFolder;        ///< folder of the task: its name, or another name when it is a task no more
  Json::Int64 iStartTime = 0;   ///< when the run started, as the name of the folder says
  Json::Int64 iSince = 0;       ///< the same, or when the folder was last changed if that was earlier
  std::uint64_t cb = 0;         ///< room that it takes
  bool blOnlyRunFiles = false;  ///< there is nothing in it but output and script
};

/// Lists the folders of runs in a place; folders that hold neither an output nor a script are none.
std::vector<RunFolder> listRunFolders(const OutputFolder& place);

/// The folder of a task.
struct TaskFolder {
  std::string strName;
  uid_t owner = 0;
  std::vector<Json::Int64> vecStarts;  ///< when the runs started whose folders are in it, the newest first
};

/// The names of what could be folders of tasks in a place.
std::vector<std::string> listTaskFolders(const OutputFolder& place);

/// Looks into the folder of a task; nothing when there is none.
std::optional<TaskFolder> readTaskFolder(const OutputFolder& place, const std::string& strFolder);

/// Tells whether there is a folder of that run.
bool hasKeptOutput(const OutputFolder& place, const std::string& strFolder, Json::Int64 iStartTime);

/// The room that the folder of one run takes; 0 when there is none.
std::uint64_t sizeOfKeptOutput(const OutputFolder& place, const std::string& strFolder, Json::Int64 iStartTime);

/// Removes the folder of a run and all that is in it. One that is not there is no failure.
/// \throw Failure when something stays.
void removeKeptOutput(const OutputFolder& place, const std::string& strFolder, Json::Int64 iStartTime);

}  // namespace Host
