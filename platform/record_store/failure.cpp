#include "record_store/failure.h"

#include <cerrno>
#include <cstring>
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

Later laterOf(int iResult) {
  switch (iResult & PRIMARY_CODE_MASK) {
    case SQLITE_BUSY:
    // A lost race for the locks of the write-ahead log.
    case SQLITE_PROTOCOL:
      return Later::BUSY;
    case SQLITE_FULL:
    case SQLITE_IOERR:
      return Later::WRITE;
    default:
      return Later::NO;
  }
}

// The system's error code if SQLite only says that a file could not be opened, read or written; otherwise 0.
int errnoOfSystem(sqlite3* pDb, int iResult) {
  const int iPrimary = iResult & PRIMARY_CODE_MASK;
  if (iPrimary == SQLITE_CANTOPEN && sqlite3_db_readonly(pDb, "main") == 1) {
    // The database could be opened for reading, but the files beside it could not be created.
    return EROFS;
  }
  return iPrimary == SQLITE_IOERR || iPrimary == SQLITE_CANTOPEN ? sqlite3_system_errno(pDb) : 0;
}

}  // namespace

StoreFailure sqliteFailure(sqlite3* pDb, int iResult, const char* szFile, int iLine) {
  // A connection that failed to open returns "misuse" from every call, but keeps its original error.
  const bool blNeverOpened = (iResult & PRIMARY_CODE_MASK) == SQLITE_MISUSE;
  const int iCode = blNeverOpened ? sqlite3_extended_errcode(pDb) : iResult;
  const bool blOwnText = (iCode & PRIMARY_CODE_MASK) == (sqlite3_errcode(pDb) & PRIMARY_CODE_MASK);
  const char* szReason = blOwnText ? sqlite3_errmsg(pDb) : sqlite3_errstr(iCode);
  if (const int iErrno = errnoOfSystem(pDb, iCode)) {
    return {iErrno, szFile, iLine, fmt::format("{}: {}", szReason, std::strerror(iErrno)), laterOf(iCode)};
  }
  return {errnoOf(iCode), szFile, iLine, szReason, laterOf(iCode)};
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
