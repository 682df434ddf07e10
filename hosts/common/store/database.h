/// \file database.h
/// SQLite databases: the store, and copies of it in memory for backups.

#pragma once

#include <memory>
#include <sqlite3.h>
#include <string>

namespace Host {

struct CloseDatabase {
  void operator()(sqlite3* pDb) const { sqlite3_close(pDb); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FinalizeStatement {
  void operator()(sqlite3_stmt* pStatement) const { sqlite3_finalize(pStatement); }
};
using Statement = std::unique_ptr<sqlite3_stmt, FinalizeStatement>;

/// \throw Failure with the name of the database; here and below.
Database openStore();

/// A copy of the store in memory: nobody can change it, and no file remains when the command is killed.
Database copyOfStore();

/// A database in memory with the content of a file.
Database databaseOf(const std::string& strContent, const std::string& strName);

/// The content of a database file without a journal.
std::string contentOf(const Database& database, const std::string& strName);

/// Copies a whole database as one state; waits for writers.
void copyDatabase(const Database& from, const Database& to, const std::string& strName);

void execute(const Database& database, const char* szSql, const std::string& strName);
Statement prepare(const Database& database, const char* szSql, const std::string& strName);

/// The first column of the first row; empty when it is null.
std::string firstText(const Database& database, const char* szSql, const std::string& strName);

/// Text of a column; empty when it is null.
std::string columnText(const Statement& statement, int iColumn);

}  // namespace Host
