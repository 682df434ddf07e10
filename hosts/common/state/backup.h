/// \file backup.h
/// The store and the configuration in one file.
///
/// The file is an SQLite database: a copy of the store, a table `backup_file` that holds the files of the
/// configuration, and a table `backup_owner` with the names of the tasks' owners. The
/// sqlite3 shell can read it. A restore reads its rows, and nothing of its schema.

#pragma once

#include <string>
#include <vector>

#include "common/config/config_change.h"
#include "common/store/database.h"

namespace Host {

/// Whether a backup without tasks may replace one that has some.
enum class EmptyBackup { REFUSED, ALLOWED };

/// Copies the store and the configuration while others use them. The file is written completely or not at all, and only
/// root can read it. \throw Failure that names it; also when it exists and is not a regular file, or is one of ours.
void writeBackup(const std::string& strFile, EmptyBackup empty = EmptyBackup::REFUSED);

/// How owners are restored.
enum class Owners {
  THE_SAME,     ///< by name: refused when a user id belongs to another user here
  AS_NUMBERED,  ///< by user id
};

/// A backup that was read and checked.
struct ReadBackup {
  Database store;                        ///< a new store with its rows
  FileTexts files;                       ///< the files of the configuration
  std::vector<std::string> vecWarnings;  ///< a sentence each
};

/// Reads a backup; nobody has to wait meanwhile. \throw Failure when the file is not a backup, or a task would get
/// another owner.
ReadBackup readBackup(const std::string& strFile, Owners owners);

/// Replaces the store and the configuration; restore() takes the locks. \return the restored files of the
/// configuration.
std::vector<std::string> restoreBackup(const ReadBackup& backup);

}  // namespace Host
