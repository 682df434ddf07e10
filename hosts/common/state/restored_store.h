/// \file restored_store.h
/// A store made of the rows of a backup.

#pragma once

#include <string>
#include <vector>

#include "backup_reader.h"

namespace Host {

/// Makes a store with our own tables, and inserts the rows of a backup. Indexes, triggers and constraints come from us,
/// so a row that our tables do not take is refused.
/// \param vecWarnings  receives warnings, a sentence each.
/// \throw Failure that names the backup.
Database storeFrom(BackupReader& backup, std::vector<std::string>& vecWarnings);

}  // namespace Host
