/// \file sql_script.h
/// Scripts of several SQL statements.

#pragma once

struct sqlite3;

namespace record_store {

/// Runs the PRAGMA statements at the beginning of a script, one by one. For example, the journal mode cannot change
/// inside a transaction, and changing it can fail with a busy database like any write.
/// \return the rest of the script.
const char* runLeadingPragmas(sqlite3* pDb, const char* szSql);

/// Runs every statement of a script.
void runScript(sqlite3* pDb, const char* szSql);

}  // namespace record_store
