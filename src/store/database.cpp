// The database and its store handles.

#include "store/database.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "orva_platform.h"

#include "store/json_file.h"
#include "support/boundary.h"
#include "support/check.h"
#include "support/file.h"
#include "support/paths.h"

using namespace Orva;

namespace {

constexpr const char* LOG_SOURCE = SOURCE_UTIL;

// Sets the effective user to 0 during its lifetime; a failed attempt is also undone.
class RootIdentity {
public:
  explicit RootIdentity(bool blWanted) : m_blWanted(blWanted), m_uid(geteuid()) {}
  ~RootIdentity() {
    if (m_blWanted) {
      // A failure cannot be handled here.
      [[maybe_unused]] const int iResult = seteuid(m_uid);
    }
  }
  RootIdentity(const RootIdentity&) = delete;
  RootIdentity& operator=(const RootIdentity&) = delete;

  int assume() {
    FAIL_IF_AS(m_blWanted && 0 > seteuid(0), "0 > seteuid(0)");
    return 0;
  }

private:
  bool m_blWanted;
  uid_t m_uid;
};

// Exclusive, because a database that another process creates at the same time must not be emptied. The mode is set from
// the start, because a process that opened the file before a change of mode could go on reading.
int createIfMissing(const std::string& strPath, int& iFd) {
  if (!isMissing(strPath)) {
    return 0;
  }
  iFd = open(strPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0700);
  const int iErrno = errno;
  if (iFd < 0 && EEXIST == iErrno && !isMissing(strPath)) {
    return 0;
  }
  errno = iErrno;
  FAIL_IF_AS(iFd < 0, "NULL == (fp = fopen(strPath.c_str(), \"w\"))");
  FAIL_IF(-1 == chmod(strPath.c_str(), 0700));
  return 0;
}

void enforceForeignKeys(sqlite3* pDb, SqlText& pErrMsg) {
  char* szErrMsg = nullptr;
  const int iResult = sqlite3_exec(pDb, "PRAGMA foreign_keys = ON;", nullptr, nullptr, &szErrMsg);
  pErrMsg.reset(szErrMsg);
  if (SQLITE_OK != iResult) {
    LOG_FAILED("SQLITE_OK != sqlite3_exec(pDb, \"PRAGMA foreign_keys = ON;\", NULL, NULL, &szErrMsg)");
  }
}

sqlite3* openConnection(const std::string& strPath, SqlText& pErrMsg) {
  sqlite3* pDb = nullptr;
  const int iResult = sqlite3_open(strPath.c_str(), &pDb);
  if (SQLITE_OK != iResult) {
    // Deliberately returns the handle of the failed connection, which has SQLite's reason.
    LOG_FAILED_WITH("open sqlite failed, path=%s, errno=%d", strPath.c_str(), iResult);
  } else if (!pDb) {
    LOG_FAILED("!pDb");
  } else {
    enforceForeignKeys(pDb, pErrMsg);
  }
  return pDb;
}

sqlite3* createAndConnect(const std::string& strPath, bool blAsRoot, SqlText& pErrMsg) {
  RootIdentity identity(blAsRoot);
  if (0 > identity.assume()) {
    return nullptr;
  }
  int iFd = -1;
  const int iCreated = createIfMissing(strPath, iFd);
  // Open while the connection is made, and closed before the identity is restored.
  const FileDescriptor file(iFd);
  return 0 > iCreated ? nullptr : openConnection(strPath, pErrMsg);
}

int readTableDef(Json::Value& jTableDef) {
  FAIL_IF_AS(!fromFile(jTableDef, EORVA_SCHEDULER_TABLE_DEFINE_PATH),
             "!jTableDef.fromFile(string(EORVA_SCHEDULER_TABLE_DEFINE_PATH))");
  FAIL_IF(jTableDef.type() != Json::objectValue);
  FAIL_IF(!jTableDef.isMember("task"));
  FAIL_IF(!jTableDef.isMember("task_result"));
  return 0;
}

// All steps that do not need the database come first, so that their failure need not close it.
int openStore(const std::string& strTableName, Json::Value& jConfigOut, sqlite3** ppDb, OrvaJsonDbApi** ppApi) {
  FAIL_IF(!ppDb);
  FAIL_IF(!ppApi);
  FAIL_IF(strTableName.empty());
  Json::Value jTableDef;
  FAIL_IF(0 > loadTableDef(jTableDef));
  std::string strSqlCreate;
  FAIL_IF(0 > loadSqlCreate(strSqlCreate));
  FAIL_IF(0 > recConfigGet(jConfigOut));
  Database pOpened;
  sqlite3* pDb = *ppDb;
  if (!pDb) {
    pDb = openDb(EORVA_SCHEDULER_DB_PATH, true);
    FAIL_IF_AS(!pDb, "NULL == (pDb = openDb(EORVA_SCHEDULER_DB_PATH, true))");
    pOpened.reset(pDb);
  }
  *ppApi = new OrvaJsonDbApi(pDb, strTableName, jTableDef, strSqlCreate);
  *ppDb = pDb;
  [[maybe_unused]] const sqlite3* pHandedOver = pOpened.release();
  return 0;
}

int closeStore(sqlite3** ppDb, OrvaJsonDbApi** ppApi, OrvaJsonDbApi** ppApiResult) {
  FAIL_IF(!ppDb);
  FAIL_IF(!ppApi);
  FAIL_IF(!ppApiResult);
  // Closes the database first. The handles no longer use it, and hosts rely on this order.
  if (*ppDb && SQLITE_OK != sqlite3_close(*ppDb)) {
    LOG_ERROR("close db failed");
  }
  *ppDb = nullptr;
  delete *ppApi;
  *ppApi = nullptr;
  delete *ppApiResult;
  *ppApiResult = nullptr;
  return 0;
}

}  // namespace

int initConfig(std::string strTableName, Json::Value& jConfigOut, sqlite3** ppDb, OrvaJsonDbApi** ppApi) {
  return GUARDED([&] { return openStore(strTableName, jConfigOut, ppDb, ppApi); });
}

int freeConfig(sqlite3** ppDb, OrvaJsonDbApi** ppApi, OrvaJsonDbApi** ppApiResult) {
  return GUARDED_WITH_LAST_LINE([&] { return closeStore(ppDb, ppApi, ppApiResult); },
                                [] { LOG_ERROR("freeConfig failed"); });
}

sqlite3* openDb(std::string strPath, bool blAsRoot) {
  return guarded(LOG_SOURCE, __LINE__, static_cast<sqlite3*>(nullptr), [&]() -> sqlite3* {
    if (strPath.empty()) {
      LOG_FAILED("strPath.empty()");
      return nullptr;
    }
    SqlText pErrMsg;
    sqlite3* pDb = createAndConnect(strPath, blAsRoot, pErrMsg);
    if (pErrMsg) {
      LOG_ERROR("szErrMsg=%s", pErrMsg.get());
    }
    return pDb;
  });
}

int loadTableDef(Json::Value& jTableDef) {
  return GUARDED_WITH_LAST_LINE([&] { return readTableDef(jTableDef); },
                                [&] { LOG_ERROR("jTableDef=%s", toString(jTableDef).c_str()); });
}

int loadSqlCreate(std::string& strSqlCreate) {
  return GUARDED([&] { return loadFile(EORVA_SCHEDULER_TABLE_CREATE_PATH, strSqlCreate); });
}
