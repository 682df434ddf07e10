/// \file statement.h
/// One prepared statement, finalised when it goes out of scope.

#pragma once

#include <string>

struct sqlite3;
struct sqlite3_stmt;

namespace record_store {

/// A prepared statement; every failure raises.
class Statement {
public:
  /// Prepares a text that holds exactly one statement.
  Statement(sqlite3* pDb, const std::string& strSql);

  /// Prepares the first statement of a script.
  /// \param szSql   script, NUL-terminated.
  /// \param szTail  receives the beginning of the next statement.
  Statement(sqlite3* pDb, const char* szSql, const char*& szTail);

  ~Statement();

  Statement(const Statement&) = delete;
  Statement& operator=(const Statement&) = delete;

  /// Takes one step.
  /// \return true with a row, false at the end.
  bool step();

  /// Steps to the end. Only then is a write complete and, without an open transaction, committed.
  void finish();

  /// True when the text of a script had only blanks and comments.
  bool isEmpty() const { return m_pStatement == nullptr; }

  sqlite3_stmt* handle() const { return m_pStatement; }
  sqlite3* database() const { return m_pDb; }

private:
  sqlite3* m_pDb;
  sqlite3_stmt* m_pStatement = nullptr;
};

/// Runs one statement and ignores its rows.
void execute(sqlite3* pDb, const std::string& strSql);

}  // namespace record_store
