/// \file authorizer.h
/// Limits a caller's WHERE clause to reading one table.

#pragma once

#include <string>

struct sqlite3;

namespace record_store {

/// While this object exists, statements on the connection can only read one table, even if SQLite recompiles them while
/// they run.
class ReadOnlyGuard {
public:
  ReadOnlyGuard(sqlite3* pDb, const std::string& strTable);
  ~ReadOnlyGuard();

  ReadOnlyGuard(const ReadOnlyGuard&) = delete;
  ReadOnlyGuard& operator=(const ReadOnlyGuard&) = delete;

private:
  sqlite3* m_pDb;
  std::string m_strTable;
};

}  // namespace record_store
