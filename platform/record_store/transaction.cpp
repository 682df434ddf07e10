#include "record_store/transaction.h"

#include <sqlite3.h>

#include "record_store/busy.h"
#include "record_store/statement.h"

namespace record_store {

Transaction::Transaction(sqlite3* pDb) : m_pDb(pDb) {
  retryWhileBusy(m_pDb, [this] { execute(m_pDb, "BEGIN IMMEDIATE"); });
}

Transaction::~Transaction() {
  if (sqlite3_get_autocommit(m_pDb) == 0) {
    sqlite3_exec(m_pDb, "ROLLBACK", nullptr, nullptr, nullptr);
  }
}

void Transaction::commit() {
  retryWhileBusy(m_pDb, [this] { execute(m_pDb, "COMMIT"); }, RetryScope::COMMIT);
}

}  // namespace record_store
