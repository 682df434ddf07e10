/// \file schema.h
/// The connection's settings and the tables, when a handle is built.

#pragma once

#include <json/value.h>
#include <string>

#include "record_store/definition.h"

struct sqlite3;

namespace record_store {

/// Makes the connection and the database ready for a table.
///
/// The connection commits with full synchronisation from now on: what was acknowledged survives a power cut. When the
/// database's schema version (PRAGMA user_version) is older than the definition's, the PRAGMA statements that the SQL
/// begins with are run, each for itself; then, in one transaction and under the write lock, a copy of the database is
/// kept, the migrations above its version are run, and the rest of the SQL. A database without tables needs neither
/// copy nor migrations. Of several processes that come at the same moment one does this, the others find it done.
///
/// \param definition    the table's.
/// \param jDefinitions  all of them, with the migrations.
/// \param strSqlCreate  the SQL; it ends by setting the schema version. Empty: nothing is created or changed.
/// Raises when the database is newer than the definition, or something failed; the tables are then as they were.
void makeReady(sqlite3* pDb, const TableDefinition& definition, const Json::Value& jDefinitions,
               const std::string& strSqlCreate);

}  // namespace record_store
