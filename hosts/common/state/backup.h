/// \file backup.h
/// A store and its configuration in one file, and the way back.
///
/// The file is an SQLite database: a copy of the store, a table `backup_file` that holds the files of the
/// configuration, and a table `backup_owner` that tells who the owners of the tasks are. So it is whole, can be looked
/// into with the sqlite3 shell, and is checked before anything is taken from it.

#pragma once

#include <string>
#include <vector>

namespace Host {

/// Copies the store and the configuration while others go on working with them. The file is there whole or not at all,
/// and only root can read it. \throw Failure that names it; also when something else than a plain file is there, or one
/// that the server works with.
void writeBackup(const std::string& strFile);

/// What the numbers of owners in a backup mean.
enum class Owners {
  THE_SAME,     ///< the users who had them when the backup was made, or nothing is restored
  AS_NUMBERED,  ///< whoever has them here
};

/// Puts a backup in the place of the store and the configuration. \throw Failure when the file is no backup, tasks
/// would be somebody else's, or something runs.
/// \param vecWarnings  receives what the user should know, a sentence each.
/// \return the files of the configuration that were put back.
std::vector<std::string> restoreBackup(const std::string& strFile, Owners owners,
                                       std::vector<std::string>& vecWarnings);

}  // namespace Host
