/// \file sql_script.h
/// Texts of several SQL statements.

#pragma once

struct sqlite3;

namespace record_store {

/// Runs the PRAGMA statements that a script begins with, each for itself: the journal mode, for one, cannot change
/// inside a transaction, and changing it finds the database busy like any write.
/// \return where the rest begins.
const char* runLeadingPragmas(sqlite3* pDb, const char* szSql);

/// Runs every statement of a script.
void runScript(sqlite3* pDb, const char* szSql);

}  // namespace record_store
