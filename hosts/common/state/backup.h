/// \file backup.h
/// The store and the configuration in one file.
///
/// The file is an SQLite database: a copy of the store, a table `backup_file` that holds the files of the
/// configuration, and a table `backup_owner` with the names of the tasks' owners. The
/// sqlite3 shell can read it, and a restore checks it first.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Copies the store and the configuration while others use them. The file is written completely or not at all, and only
/// root can read it. \throw Failure that names it; also when it exists and is not a regular file, or is one of ours.
void writeBackup(const std::string& strFile);

/// How owners are restored.
enum class Owners {
  THE_SAME,     ///< by name: refused when a user id belongs to another user here
  AS_NUMBERED,  ///< by user id
};

/// Replaces the store and the configuration; restore() takes the locks. \throw Failure when the file is not a backup,
/// or a task would get another owner.
/// \param vecWarnings  receives warnings, a sentence each.
/// \return the restored files of the configuration.
std::vector<std::string> restoreBackup(const std::string& strFile, Owners owners,
                                       std::vector<std::string>& vecWarnings);

}  // namespace Host
