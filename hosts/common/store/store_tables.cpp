#include "store_tables.h"

#include <cerrno>
#include <cstring>
#include <fmt/format.h>

#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/support/try_until.h"
#include "database.h"

namespace Host {

namespace {

constexpr char COUNT_TABLES[] =
    "SELECT count(*), count(*) FILTER (WHERE name IN ('task', 'task_result')) FROM sqlite_schema "
    "WHERE type = 'table' AND name NOT GLOB 'sqlite_*'";
constexpr int ALL_OF_OURS = 2;

/// Reading needs a little room, too; when there is none, SQLite says only "disk I/O error".
std::string problemOf(sqlite3* pDb) {
  return sqlite3_system_errno(pDb) == ENOSPC ? std::strerror(ENOSPC) : sqlite3_errmsg(pDb);
}

void refuseOther(StoreTables tables) {
  if (tables == StoreTables::OTHER) {
    throw Failure(
        fmt::format("the database {} is not a store: it has tables, but not \"task\" and \"task_result\"; move "
                    "it to another place",
                    DATABASE_PATH),
        {Hint::CREATE_STORE});
  }
}

}  // namespace

StoreTables tablesOf(sqlite3* pDb) {
  using namespace std::chrono_literals;
  Statement statement;
  int iCode = SQLITE_OK;
  tryUntil(10s, 10ms, [&] {
    sqlite3_stmt* pStatement = nullptr;
    iCode = sqlite3_prepare_v2(pDb, COUNT_TABLES, -1, &pStatement, nullptr);
    statement.reset(pStatement);
    iCode = iCode == SQLITE_OK ? sqlite3_step(pStatement) : iCode;
    return iCode != SQLITE_BUSY;
  });
  if (iCode != SQLITE_ROW) {
    throw Failure(fmt::format("cannot open the store {}: {}", DATABASE_PATH, problemOf(pDb)));
  }
  if (sqlite3_column_int(statement.get(), 1) == ALL_OF_OURS) {
    return StoreTables::COMPLETE;
  }
  return sqlite3_column_int(statement.get(), 0) == 0 ? StoreTables::NONE : StoreTables::OTHER;
}

void requireTables(sqlite3* pDb) {
  const StoreTables tables = tablesOf(pDb);
  if (tables == StoreTables::NONE) {
    throw Failure(fmt::format("the store {} is empty: its tables are missing", DATABASE_PATH), {Hint::RESTORE_STORE});
  }
  refuseOther(tables);
}

void refuseOtherTables(sqlite3* pDb) {
  refuseOther(tablesOf(pDb));
}

}  // namespace Host
