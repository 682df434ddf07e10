/// \file create_tables.h
/// The connection's settings and the tables, when a handle is built.

#pragma once

#include <string>

#include "record_store/definition.h"

struct sqlite3;

namespace record_store {

/// Makes the connection and the database ready for a table.
///
/// The connection commits with full synchronisation from now on: what was acknowledged survives a power cut. When the
/// database's schema version (PRAGMA user_version) is older than the definition's, the SQL is run: first the PRAGMA
/// statements that it begins with, each for itself, then the rest in one transaction, under the write lock. Of
/// several processes that come at the same moment one creates the tables, the others find them.
///
/// \param strSqlCreate  the SQL; it ends by setting the schema version. Empty: nothing is created.
/// Raises when the database is newer than the definition, or something failed; the tables are then as they were.
void makeReady(sqlite3* pDb, const TableDefinition& definition, const std::string& strSqlCreate);

}  // namespace record_store
