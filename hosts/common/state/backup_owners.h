/// \file backup_owners.h
/// The owners of the tasks in a backup. Owners are stored as user ids, and another server may use these ids for other
/// users.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "backup_reader.h"

namespace Host {

/// Stores the names of the owners in a backup, in the table `backup_owner`.
/// \throw Failure that names the backup; here and below.
void addOwners(const Database& backup, const std::string& strName);

/// Stores the names that the owners' user ids have now, in the tasks.
/// \param szTasks  the tasks, as a condition of SQL.
void nameOwners(const Database& store, const char* szTasks, const std::string& strName);

/// Compares the stored names with the users of this server.
/// \return a line for each task that would get another owner; nothing when the backup has no names.
std::optional<std::vector<std::string>> otherOwners(BackupReader& backup);

}  // namespace Host
