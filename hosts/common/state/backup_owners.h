/// \file backup_owners.h
/// Whose the tasks of a backup are: the store knows numbers, and another server may have other users by them.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/store/database.h"

namespace Host {

/// Writes down in a backup, in the table `backup_owner`, who the owners of its tasks are on this server.
/// \throw Failure that names the backup; here and below.
void addOwners(const Database& backup, const std::string& strName);

/// Compares the owners that were written down with the users of this server.
/// \return a line for every task that would be somebody else's; nothing when the backup tells no names.
std::optional<std::vector<std::string>> otherOwners(const Database& backup, const std::string& strName);

}  // namespace Host
