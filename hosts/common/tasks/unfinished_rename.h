/// \file unfinished_rename.h
/// Output under a wrong name, because a rename was interrupted between moving the folder and changing the store.
///
/// It is found by its runs. A note in the store would find it without a search, but the library renames in its own
/// transaction: the note would need one before and one after it, and each way to open the store would have to read it.

#pragma once

#include <string>
#include <vector>

#include "common/output/output_place.h"

namespace Host {

class Session;

/// A folder with the output of a task, but not with the name of any task.
struct UnfinishedRename {
  OutputPlace place;
  std::string strFolder;  ///< its name there
  std::string strTask;    ///< the task that its runs are recorded for
  bool blFree = true;     ///< the right name is free

  /// Its path, for messages.
  std::string path() const { return place.path() + "/" + strFolder; }
};

/// Searches all places; waits for a running rename. \throw Failure when the store fails.
std::vector<UnfinishedRename> findUnfinishedRenames(Session& session);

/// Gives the folders the names of their tasks, where these are free.
/// \return the moved folders. \throw Failure when a task runs, or a folder cannot be moved.
std::vector<UnfinishedRename> finishRenames(Session& session);

}  // namespace Host
