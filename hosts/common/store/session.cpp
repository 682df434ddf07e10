#include "session.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <fmt/format.h>
#include <sqlite3.h>
#include <thread>
#include <unistd.h>

#include "common/support/failure.h"
#include "common/support/paths.h"

namespace Host {

namespace {

constexpr char SEE_LOG[] = "the reason is in the system log (--log-stdout shows it here)";

void checkStoreExists() {
  if (access(DATABASE_PATH, F_OK) == 0) {
    return;
  }
  if (errno == ENOENT) {
    throw Failure(fmt::format("there is no store yet ({} is missing): run 'eorva init' first", DATABASE_PATH));
  }
  throw Failure(fmt::format("cannot reach {}: {}", DATABASE_PATH, std::strerror(errno)));
}

}  // namespace

Session::Session(Store store) {
  if (store == Store::MUST_EXIST) {
    checkStoreExists();
  }
  try {
    open();
  } catch (...) {
    close();
    throw;
  }
}

Session::~Session() {
  close();
}

void Session::open() {
  Json::Value jConfig;
  if (initConfig("task", jConfig, &m_pDb, &m_pApi) < 0 ||
      initConfig("task_result", jConfig, &m_pDb, &m_pApiResult) < 0) {
    throw Failure(fmt::format("cannot open the store {}: {}", DATABASE_PATH, SEE_LOG));
  }
  // The library also gives a connection that SQLite failed to open.
  const int iCode = sqlite3_errcode(m_pDb);
  if (iCode == SQLITE_CANTOPEN || iCode == SQLITE_NOTADB || iCode == SQLITE_NOMEM) {
    throw Failure(fmt::format("cannot open the store {}: {}", DATABASE_PATH, sqlite3_errmsg(m_pDb)));
  }
}

void Session::close() {
  if (m_pDb != nullptr && sqlite3_get_autocommit(m_pDb) == 0) {
    sqlite3_exec(m_pDb, "ROLLBACK;", nullptr, nullptr, nullptr);
  }
  freeConfig(&m_pDb, &m_pApi, &m_pApiResult);
}

WriteLock::WriteLock(Session& session, std::chrono::milliseconds limit) : m_pDb(session.db()) {
  using namespace std::chrono_literals;
  const auto deadline = std::chrono::steady_clock::now() + limit;
  auto pause = 1ms;
  int iCode = SQLITE_OK;
  while ((iCode = sqlite3_exec(m_pDb, "BEGIN IMMEDIATE;", nullptr, nullptr, nullptr)) == SQLITE_BUSY &&
         std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(pause);
    pause = std::min(pause * 2, 100ms);
  }
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
