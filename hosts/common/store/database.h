/// \file database.h
/// SQLite databases: the store, and copies of it for backups.

#pragma once

#include <memory>
#include <sqlite3.h>
#include <string>

namespace Host {

struct CloseDatabase {
  void operator()(sqlite3* pDb) const { sqlite3_close(pDb); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

/// A connection that somebody else owns.
class Connection {
public:
  Connection(sqlite3* pDb) : m_pDb(pDb) {}
  Connection(const Database& database) : m_pDb(database.get()) {}

  sqlite3* get() const { return m_pDb; }

private:
  sqlite3* m_pDb;
};

struct FinalizeStatement {
  void operator()(sqlite3_stmt* pStatement) const { sqlite3_finalize(pStatement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// \throw Failure with the name of the database; here and below.
/// \param szVfs  how SQLite reads and writes the file; null for the usual way.
Database openDatabase(const std::string& strPath, int iFlags, const char* szVfs, const std::string& strName);

Database openStore();

/// An empty database that only this process knows; SQLite keeps the file without a name, so it never remains.
Database temporaryDatabase();

/// Copies a whole database as one state; waits for writers.
void copyDatabase(Connection from, Connection to, const std::string& strName);

void execute(Connection database, const char* szSql, const std::string& strName);
Statement prepare(Connection database, const char* szSql, const std::string& strName);

/// Moves to the next row. \return false behind the last one.
bool nextRow(Connection database, const Statement& statement, const std::string& strName);

/// The first column of the first row; empty when it is null.
std::string firstText(Connection database, const char* szSql, const std::string& strName);

/// Text of a column; empty when it is null.
std::string columnText(const Statement& statement, int iColumn);

}  // namespace Host
