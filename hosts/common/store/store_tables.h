/// \file store_tables.h
/// Tells a store from an empty file and from another program's database.

#pragma once

struct sqlite3;

namespace Host {

enum class StoreTables {
  COMPLETE,  ///< it has the tables of tasks and runs
  NONE,      ///< it has no tables: an empty file is such a database
  OTHER,     ///< it has tables, but not both of these
};

/// Waits for writers. \throw Failure when the database cannot be read.
StoreTables tablesOf(sqlite3* pDb);

/// \throw Failure with what to do, unless the database has the tables of a store. Without this check, the platform
///        creates the tables, and a lost store looks like a server without tasks.
void requireTables(sqlite3* pDb);

/// \throw Failure when the database is another program's.
void refuseOtherTables(sqlite3* pDb);

}  // namespace Host
