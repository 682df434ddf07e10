/// \file authorizer.h
/// What a caller's own WHERE clause may do: read one table.

#pragma once

#include <string>

struct sqlite3;

namespace record_store {

/// While it lives, statements on the connection may only read one table; also those that SQLite compiles again while
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
