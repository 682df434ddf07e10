#include "rows.h"

#include <fmt/format.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "session.h"

namespace Host {

namespace {

[[noreturn]] void failRead(sqlite3* pDb) {
  throw Failure(fmt::format("cannot read the store {}: {}", DATABASE_PATH, sqlite3_errmsg(pDb)));
}

Statement prepare(sqlite3* pDb, const std::string& strSql) {
  sqlite3_stmt* pStatement = nullptr;
  if (sqlite3_prepare_v2(pDb, strSql.c_str(), -1, &pStatement, nullptr) != SQLITE_OK) {
    failRead(pDb);
  }
  return Statement(pStatement);
}

}  // namespace

Rows::Rows(const Session& session, const std::string& strSql)
    : m_pDb(session.db()), m_statement(prepare(m_pDb, strSql)) {}

void Rows::restart(const std::string& strText) {
  sqlite3_reset(m_statement.get());
  if (sqlite3_bind_text(m_statement.get(), 1, strText.data(), static_cast<int>(strText.size()), SQLITE_TRANSIENT) !=
      SQLITE_OK) {
    failRead(m_pDb);
  }
}

bool Rows::next() {
  const int iCode = sqlite3_step(m_statement.get());
  if (iCode != SQLITE_ROW && iCode != SQLITE_DONE) {
    failRead(m_pDb);
  }
  return iCode == SQLITE_ROW;
}

}  // namespace Host
