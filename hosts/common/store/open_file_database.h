/// \file open_file_database.h
/// SQLite databases in files that are open already.

#pragma once

#include "database.h"

namespace Host {

/// Opens the database in an open file. SQLite uses the descriptor alone: no name is followed, so nobody can exchange
/// the file, and there are no other files beside it. It has no journal, and a write-ahead log in another file is
/// ignored: what is written counts only if everything succeeds.
/// \param fd  not empty for Access::READ; stays open longer than the database.
/// \throw Failure that names the file by strName.
enum class Access { READ, WRITE };
Database openFileDatabase(int fd, Access access, const std::string& strName);

}  // namespace Host
