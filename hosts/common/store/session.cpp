#include "session.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>
#include <sqlite3.h>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/try_until.h"
#include "store_tables.h"

namespace Host {

namespace {

constexpr std::chrono::milliseconds LOCK_PAUSE(10);

}  // namespace

void Session::requireFile() {
  if (access(DATABASE_PATH, F_OK) == 0) {
    return;
  }
  if (errno == ENOENT) {
    throw Failure(fmt::format("there is no store yet ({} is missing)", DATABASE_PATH), {Hint::CREATE_STORE});
  }
  throw Failure(fmt::format("cannot reach {}: {}", DATABASE_PATH, std::strerror(errno)));
}

Session::Session(Store store) {
  if (store == Store::MUST_EXIST) {
    requireFile();
  }
  try {
    open(store);
  } catch (...) {
    close();
    throw;
  }
}

Session::~Session() {
  close();
}

void Session::open(Store store) {
  m_pDb = openDb(DATABASE_PATH, true);
  if (m_pDb == nullptr) {
    throw Failure(fmt::format("cannot open the store {}: {}", DATABASE_PATH, SEE_LOG));
  }
  store == Store::CREATE ? refuseOtherTables(m_pDb) : requireTables(m_pDb);
  Json::Value jConfig;
  if (initConfig("task", jConfig, &m_pDb, &m_pApi) < 0 ||
      initConfig("task_result", jConfig, &m_pDb, &m_pApiResult) < 0) {
    throw Failure(fmt::format("cannot open the store {}: {}", DATABASE_PATH, SEE_LOG));
  }
  if (store == Store::CREATE) {
    // No tables are created in a database that already has the newest version number.
    requireTables(m_pDb);
  }
}

void Session::close() {
  if (m_pDb != nullptr && sqlite3_get_autocommit(m_pDb) == 0) {
    sqlite3_exec(m_pDb, "ROLLBACK;", nullptr, nullptr, nullptr);
  }
  freeConfig(&m_pDb, &m_pApi, &m_pApiResult);
}

std::int64_t dataVersion(const Session& session) {
  sqlite3_stmt* pStatement = nullptr;
  sqlite3_prepare_v2(session.db(), "PRAGMA data_version;", -1, &pStatement, nullptr);
  const bool blRead = sqlite3_step(pStatement) == SQLITE_ROW;
  const std::int64_t iVersion = blRead ? sqlite3_column_int64(pStatement, 0) : 0;
  sqlite3_finalize(pStatement);
  if (!blRead) {
    throw Failure(fmt::format("cannot read the store {}: {}", DATABASE_PATH, sqlite3_errmsg(session.db())));
  }
  return iVersion;
}

Snapshot::Snapshot(const Session& session) : m_pDb(session.db()), m_blBegun(sqlite3_get_autocommit(m_pDb) != 0) {
  if (m_blBegun && sqlite3_exec(m_pDb, "BEGIN;", nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("cannot read the store {}: {}", DATABASE_PATH, sqlite3_errmsg(m_pDb)));
  }
}

Snapshot::~Snapshot() {
  if (m_blBegun) {
    sqlite3_exec(m_pDb, "COMMIT;", nullptr, nullptr, nullptr);
  }
}

WriteLock::WriteLock(Session& session, std::chrono::milliseconds limit) : m_pDb(session.db()) {
  int iCode = SQLITE_OK;
  tryUntil(limit, LOCK_PAUSE, [&] {
    iCode = sqlite3_exec(m_pDb, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr);
    return iCode != SQLITE_BUSY;
  });
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot lock the store {}: {}", DATABASE_PATH, sqlite3_errstr(iCode)));
  }
}

WriteLock::~WriteLock() {
  if (sqlite3_get_autocommit(m_pDb) == 0) {
    sqlite3_exec(m_pDb, "ROLLBACK;", nullptr, nullptr, nullptr);
  }
}

void WriteLock::commit() {
  const int iCode = sqlite3_exec(m_pDb, "COMMIT;", nullptr, nullptr, nullptr);
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot write to the store {}: {}", DATABASE_PATH, sqlite3_errstr(iCode)));
  }
}

}  // namespace Host
