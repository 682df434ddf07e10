#include "database.h"

#include <fmt/format.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/try_until.h"

namespace Host {

Database openDatabase(const std::string& strPath, int iFlags, const char* szVfs, const std::string& strName) {
  sqlite3* pDb = nullptr;
  const int iCode = sqlite3_open_v2(strPath.c_str(), &pDb, iFlags, szVfs);
  Database database(pDb);
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot open {}: {}", strName, sqlite3_errstr(iCode)));
  }
  return database;
}

Database openStore() {
  return openDatabase(DATABASE_PATH, SQLITE_OPEN_READWRITE, nullptr, DATABASE_PATH);
}

Database temporaryDatabase() {
  const std::string strName = "a temporary database";
  Database database = openDatabase("", SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE, nullptr, strName);
  execute(database, "pragma journal_mode = off; pragma synchronous = off", strName);
  return database;
}

void copyDatabase(Connection from, Connection to, const std::string& strName) {
  using namespace std::chrono_literals;
  sqlite3_backup* const pBackup = sqlite3_backup_init(to.get(), "main", from.get(), "main");
  if (pBackup == nullptr) {
    throw Failure(fmt::format("cannot copy {}: {}", strName, sqlite3_errmsg(to.get())));
  }
  int iCode = SQLITE_OK;
  tryUntil(10s, 50ms, [&] {
    iCode = sqlite3_backup_step(pBackup, -1);
    return iCode != SQLITE_BUSY && iCode != SQLITE_LOCKED;
  });
  sqlite3_backup_finish(pBackup);
  if (iCode != SQLITE_DONE) {
    throw Failure(fmt::format("cannot copy {}: {}", strName, sqlite3_errstr(iCode)));
  }
}

void execute(Connection database, const char* szSql, const std::string& strName) {
  if (sqlite3_exec(database.get(), szSql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("cannot use {}: {}", strName, sqlite3_errmsg(database.get())));
  }
}

Statement prepare(Connection database, const char* szSql, const std::string& strName) {
  sqlite3_stmt* pStatement = nullptr;
  if (sqlite3_prepare_v2(database.get(), szSql, -1, &pStatement, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("cannot read {}: {}", strName, sqlite3_errmsg(database.get())));
  }
  return Statement(pStatement);
}

bool nextRow(Connection database, const Statement& statement, const std::string& strName) {
  const int iCode = sqlite3_step(statement.get());
  if (iCode != SQLITE_ROW && iCode != SQLITE_DONE) {
    throw Failure(fmt::format("cannot read {}: {}", strName, sqlite3_errmsg(database.get())));
  }
  return iCode == SQLITE_ROW;
}

std::string firstText(Connection database, const char* szSql, const std::string& strName) {
  const Statement statement = prepare(database, szSql, strName);
  if (!nextRow(database, statement, strName)) {
    throw Failure(fmt::format("cannot read {}: it has no rows", strName));
  }
  return columnText(statement, 0);
}

std::string columnText(const Statement& statement, int iColumn) {
  const unsigned char* const pText = sqlite3_column_text(statement.get(), iColumn);
  return pText != nullptr ? reinterpret_cast<const char*>(pText) : "";
}

}  // namespace Host
