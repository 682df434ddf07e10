#include "record_store/authorizer.h"

#include <algorithm>
#include <array>
#include <sqlite3.h>
#include <strings.h>

namespace record_store {
namespace {

// Functions that reach outside the database, or into the memory of the process.
constexpr std::array<const char*, 6> REFUSED_FUNCTIONS{"edit",     "fts3_tokenizer", "load_extension",
                                                       "readfile", "sqlite_log",     "writefile"};

bool isRefused(const char* szFunction) {
  return szFunction == nullptr ||
         std::any_of(REFUSED_FUNCTIONS.begin(), REFUSED_FUNCTIONS.end(),
                     [szFunction](const char* szRefused) { return strcasecmp(szFunction, szRefused) == 0; });
}

// SQLite gives no database name if a statement uses none of the table's columns.
bool isTable(const std::string& strTable, const char* szTable, const char* szDatabase) {
  return szTable != nullptr && strcasecmp(szTable, strTable.c_str()) == 0 &&
         (szDatabase == nullptr || strcasecmp(szDatabase, "main") == 0);
}

// Recursion writes nothing, but could run forever.
int authorize(void* pTable, int iAction, const char* szFirst, const char* szSecond, const char* szDatabase,
              const char* /*szTrigger*/) {
  const auto& strTable = *static_cast<const std::string*>(pTable);
  switch (iAction) {
    case SQLITE_SELECT:
      return SQLITE_OK;
    case SQLITE_READ:
      return isTable(strTable, szFirst, szDatabase) ? SQLITE_OK : SQLITE_DENY;
    case SQLITE_FUNCTION:
      return isRefused(szSecond) ? SQLITE_DENY : SQLITE_OK;
    default:
      return SQLITE_DENY;
  }
}

}  // namespace

ReadOnlyGuard::ReadOnlyGuard(sqlite3* pDb, const std::string& strTable) : m_pDb(pDb), m_strTable(strTable) {
  sqlite3_set_authorizer(m_pDb, &authorize, &m_strTable);
}

ReadOnlyGuard::~ReadOnlyGuard() {
  sqlite3_set_authorizer(m_pDb, nullptr, nullptr);
}

}  // namespace record_store
