#include "record_store/failure.h"

#include <cerrno>
#include <new>
#include <sqlite3.h>

#include "support/last_error.h"
#include "support/log.h"

namespace record_store {
namespace {

constexpr int PRIMARY_CODE_MASK = 0xff;

int errnoOfConstraint(int iResult) {
  const bool blTaken = iResult == SQLITE_CONSTRAINT_PRIMARYKEY || iResult == SQLITE_CONSTRAINT_UNIQUE;
  return blTaken ? EEXIST : EINVAL;
}

int errnoOf(int iResult) {
  switch (iResult & PRIMARY_CODE_MASK) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
    case SQLITE_PROTOCOL:
      return EBUSY;
    case SQLITE_CONSTRAINT:
      return errnoOfConstraint(iResult);
    case SQLITE_READONLY:
      return EROFS;
    case SQLITE_FULL:
      return ENOSPC;
    case SQLITE_NOMEM:
      return ENOMEM;
    case SQLITE_TOOBIG:
      return E2BIG;
    case SQLITE_AUTH:
    case SQLITE_PERM:
      return EACCES;
    case SQLITE_ERROR:
    case SQLITE_MISMATCH:
      return EINVAL;
    default:
      return EIO;
  }
}

// SQLITE_PROTOCOL is a lost race for the locks of the write-ahead log; like a lock, it passes.
bool isBusy(int iResult) {
  const int iPrimary = iResult & PRIMARY_CODE_MASK;
  return iPrimary == SQLITE_BUSY || iPrimary == SQLITE_PROTOCOL;
}

}  // namespace

StoreFailure sqliteFailure(sqlite3* pDb, int iResult, const char* szFile, int iLine) {
  // A connection that never opened answers everything with "misuse", and keeps the text that says why it failed.
  const int iPrimary = iResult & PRIMARY_CODE_MASK;
  const bool blOwnText = iPrimary == SQLITE_MISUSE || iPrimary == (sqlite3_errcode(pDb) & PRIMARY_CODE_MASK);
  const char* szReason = blOwnText ? sqlite3_errmsg(pDb) : sqlite3_errstr(iResult);
  return {errnoOf(iResult), szFile, iLine, szReason, isBusy(iResult)};
}

void reportFailure(const std::string& strTable, const char* szOperation, const std::exception& failure) {
  const auto* pStoreFailure = dynamic_cast<const StoreFailure*>(&failure);
  if (pStoreFailure != nullptr) {
    setLastError(pStoreFailure->code(), pStoreFailure->file(), pStoreFailure->line());
  } else {
    const bool blMemory = dynamic_cast<const std::bad_alloc*>(&failure) != nullptr;
    SET_LAST_ERROR(blMemory ? ENOMEM : EINVAL);
  }
  logError("record store, table %s, %s: %s", strTable.c_str(), szOperation, failure.what());
}

}  // namespace record_store
