/// \file schema.h
/// Prepares the connection and the tables when a handle is built.

#pragma once

#include <json/value.h>
#include <string>

#include "record_store/definition.h"

struct sqlite3;

namespace record_store {

/// Prepares the connection and the database for a table.
///
/// The connection commits with full synchronisation from now on, so committed data survives a power cut. If the
/// database's schema version (PRAGMA user_version) is older than the definition's, this function first runs the PRAGMA
/// statements at the beginning of the SQL, one by one. Then, in one transaction under the write lock, it copies the
/// database, runs the migrations above its version, and runs the rest of the SQL. A database without tables needs
/// neither copy nor migrations. If several processes come at the same time, one does this, and the others find it done.
///
/// \param definition    definition of the table.
/// \param jDefinitions  all definitions, with the migrations.
/// \param strSqlCreate  the SQL; it ends by setting the schema version. Empty: nothing is created or changed.
/// Raises when the database is newer than the definition, or a step failed; the tables are then unchanged.
void makeReady(sqlite3* pDb, const TableDefinition& definition, const Json::Value& jDefinitions,
               const std::string& strSqlCreate);

}  // namespace record_store
