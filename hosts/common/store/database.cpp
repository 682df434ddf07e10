#include "database.h"

#include <cstring>
#include <fmt/format.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/try_until.h"

namespace Host {

namespace {

constexpr char MEMORY[] = ":memory:";

/// Bytes of the header that tell whether the file has a write-ahead log, and the value for "no".
constexpr std::size_t FORMAT_TO_WRITE = 18;
constexpr std::size_t FORMAT_TO_READ = 19;
constexpr char WITHOUT_JOURNAL = 1;

Database open(const char* szPath, int iFlags) {
  sqlite3* pDb = nullptr;
  const int iCode = sqlite3_open_v2(szPath, &pDb, iFlags, nullptr);
  Database database(pDb);
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot open {}: {}", szPath, sqlite3_errstr(iCode)));
  }
  return database;
}

Database openMemory() {
  return open(MEMORY, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE);
}

struct FreeMemory {
  void operator()(unsigned char* p) const { sqlite3_free(p); }
};
using Memory = std::unique_ptr<unsigned char, FreeMemory>;

}  // namespace

Database openStore() {
  return open(DATABASE_PATH, SQLITE_OPEN_READWRITE);
}

Database copyOfStore() {
  const Database store = openStore();
  Database copy = openMemory();
  copyDatabase(store, copy, DATABASE_PATH);
  return copy;
}

Database databaseOf(const std::string& strContent, const std::string& strName) {
  Database database = openMemory();
  Memory memory(static_cast<unsigned char*>(sqlite3_malloc64(strContent.size() + 1)));
  if (memory == nullptr) {
    throw Failure(fmt::format("cannot read {}: it does not fit into the memory", strName));
  }
  std::memcpy(memory.get(), strContent.data(), strContent.size());
  const auto cb = static_cast<sqlite3_int64>(strContent.size());
  // It also frees the memory when it fails.
  const int iCode = sqlite3_deserialize(database.get(), "main", memory.release(), cb, cb,
                                        SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_RESIZEABLE);
  if (iCode != SQLITE_OK) {
    throw Failure(fmt::format("cannot read {}: {}", strName, sqlite3_errstr(iCode)));
  }
  return database;
}

std::string contentOf(const Database& database, const std::string& strName) {
  sqlite3_int64 cb = 0;
  const Memory memory(sqlite3_serialize(database.get(), "main", &cb, 0));
  if (memory == nullptr || cb <= static_cast<sqlite3_int64>(FORMAT_TO_READ)) {
    throw Failure(fmt::format("cannot copy {}: it does not fit into the memory", strName));
  }
  std::string strContent(reinterpret_cast<const char*>(memory.get()), static_cast<std::size_t>(cb));
  strContent[FORMAT_TO_WRITE] = WITHOUT_JOURNAL;
  strContent[FORMAT_TO_READ] = WITHOUT_JOURNAL;
  return strContent;
}

void copyDatabase(const Database& from, const Database& to, const std::string& strName) {
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

void execute(const Database& database, const char* szSql, const std::string& strName) {
  if (sqlite3_exec(database.get(), szSql, nullptr, nullptr, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("cannot use {}: {}", strName, sqlite3_errmsg(database.get())));
  }
}

Statement prepare(const Database& database, const char* szSql, const std::string& strName) {
  sqlite3_stmt* pStatement = nullptr;
  if (sqlite3_prepare_v2(database.get(), szSql, -1, &pStatement, nullptr) != SQLITE_OK) {
    throw Failure(fmt::format("cannot read {}: {}", strName, sqlite3_errmsg(database.get())));
  }
  return Statement(pStatement);
}

std::string firstText(const Database& database, const char* szSql, const std::string& strName) {
  const Statement statement = prepare(database, szSql, strName);
  if (sqlite3_step(statement.get()) != SQLITE_ROW) {
    throw Failure(fmt::format("cannot read {}: {}", strName, sqlite3_errmsg(database.get())));
  }
  return columnText(statement, 0);
}

std::string columnText(const Statement& statement, int iColumn) {
  const unsigned char* const pText = sqlite3_column_text(statement.get(), iColumn);
  return pText != nullptr ? reinterpret_cast<const char*>(pText) : "";
}

}  // namespace Host
