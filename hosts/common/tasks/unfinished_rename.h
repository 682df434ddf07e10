/// \file unfinished_rename.h
/// Output that a change of a task's name has left under the other name, because it was cut off between its two halves.

#pragma once

#include <string>
#include <vector>

#include "common/output/output_folder.h"

namespace Host {

class Session;

/// A folder that belongs to no task, and holds what runs of one have left.
struct UnfinishedRename {
  OutputFolder place;
  std::string strFolder;  ///< its name there
  std::string strTask;    ///< the task that its runs are recorded for
  bool blFree = true;     ///< nothing stands where the folder of the task has to be

  /// Where it is, for messages.
  std::string path() const { return place.path() + "/" + strFolder; }
};

/// Looks for such folders in every place. One under way is waited for. \throw Failure when the store fails.
std::vector<UnfinishedRename> findUnfinishedRenames(Session& session);

/// Gives the folders their tasks' names again, where those are free.
/// \return those that were moved. \throw Failure when a task runs, or a folder cannot be moved.
std::vector<UnfinishedRename> finishRenames(Session& session);

}  // namespace Host
