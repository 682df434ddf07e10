#include "record_store/statement.h"

#include <cerrno>
#include <sqlite3.h>

#include "record_store/failure.h"

namespace record_store {

Statement::Statement(sqlite3* pDb, const std::string& strSql) : m_pDb(pDb) {
  const char* szTail = nullptr;
  // If the size includes the terminator, SQLite does not copy the text.
  const int cbSql = static_cast<int>(strSql.size()) + 1;
  const int iResult = sqlite3_prepare_v2(pDb, strSql.c_str(), cbSql, &m_pStatement, &szTail);
  if (iResult != SQLITE_OK) {
    RAISE_SQLITE(pDb, iResult);
  }
  if (szTail != strSql.c_str() + strSql.size()) {
    sqlite3_finalize(m_pStatement);
    RAISE(EINVAL, "more than one statement");
  }
}

Statement::Statement(sqlite3* pDb, const char* szSql, const char*& szTail) : m_pDb(pDb) {
  const int iResult = sqlite3_prepare_v2(pDb, szSql, -1, &m_pStatement, &szTail);
  if (iResult != SQLITE_OK) {
    RAISE_SQLITE(pDb, iResult);
  }
}

Statement::~Statement() {
  sqlite3_finalize(m_pStatement);
}

bool Statement::step() {
  const int iResult = sqlite3_step(m_pStatement);
  if (iResult == SQLITE_ROW) {
    return true;
  }
  if (iResult != SQLITE_DONE) {
    RAISE_SQLITE(m_pDb, sqlite3_extended_errcode(m_pDb));
  }
  return false;
}

void Statement::finish() {
  while (step()) {
  }
}

void execute(sqlite3* pDb, const std::string& strSql) {
  Statement(pDb, strSql).finish();
}

}  // namespace record_store
