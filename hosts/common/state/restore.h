/// \file restore.h
/// Replacing tasks, run records and configuration with a backup, while nothing runs.

#pragma once

#include <string>
#include <vector>

#include "backup.h"

namespace Host {

/// The result of a restore.
struct Restored {
  std::vector<std::string> vecFiles;     ///< restored files of the configuration
  std::vector<std::string> vecWarnings;  ///< a sentence each
};

/// \throw Failure when something runs, or may still start.
void checkRestore();

/// Restores a backup; nothing is started meanwhile. \throw Failure as restoreBackup() and checkRestore() do.
Restored restore(const std::string& strFile, Owners owners);

}  // namespace Host
