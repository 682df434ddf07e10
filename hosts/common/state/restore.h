/// \file restore.h
/// Putting a backup in the place of tasks, run records and configuration, while nothing runs.

#pragma once

#include <string>
#include <vector>

#include "backup.h"

namespace Host {

/// What a restore has done.
struct Restored {
  std::vector<std::string> vecFiles;     ///< the files of the configuration that were put back
  std::vector<std::string> vecWarnings;  ///< what the user should know, a sentence each
};

/// \throw Failure when something runs, or may still start.
void checkRestore();

/// Restores a backup; nothing is started meanwhile. \throw Failure as restoreBackup() and checkRestore() do.
Restored restore(const std::string& strFile, Owners owners);

}  // namespace Host
