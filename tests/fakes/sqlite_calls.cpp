// The SQLite calls of the library under test.

#include <cstdarg>
#include <sqlite3.h>

#include "fakes/fakes.h"

using OrvaTest::fakes;

extern "C" {

// A failing open still gives a handle, as SQLite itself does; with a null out value it gives none.
int eorvaFake_sqlite3_open(const char* szPath, sqlite3** ppDb) {
  const auto answer = fakes().systemCall("sqlite3_open", szPath);
  if (answer && answer->jOut && answer->jOut->isNull()) {
    *ppDb = nullptr;
    return answer->iResult;
  }
  const int iResult = sqlite3_open(szPath, ppDb);
  return answer ? answer->result(SQLITE_CANTOPEN) : iResult;
}

int eorvaFake_sqlite3_exec(sqlite3* pDb, const char* szSql, int (*pCallback)(void*, int, char**, char**), void* pArg,
                           char** pszErrMsg) {
  const auto answer = fakes().systemCall("sqlite3_exec", szSql);
  if (!answer) {
    return sqlite3_exec(pDb, szSql, pCallback, pArg, pszErrMsg);
  }
  if (pszErrMsg) {
    const std::string strText = answer->jOut ? answer->jOut->asString() : answer->blFails ? "injected" : "";
    *pszErrMsg = strText.empty() ? nullptr : sqlite3_mprintf("%s", strText.c_str());
  }
  return answer->result(SQLITE_ERROR);
}

// A connection that refuses to be closed stays open: the test closes it.
int eorvaFake_sqlite3_close(sqlite3* pDb) {
  const auto answer = fakes().systemCall("sqlite3_close");
  return answer ? answer->result(SQLITE_BUSY) : sqlite3_close(pDb);
}

char* eorvaFake_sqlite3_mprintf(const char* szFormat, ...) {
  va_list args;
  va_start(args, szFormat);
  char* szText = fakes().systemCall("sqlite3_mprintf", szFormat) ? nullptr : sqlite3_vmprintf(szFormat, args);
  va_end(args);
  return szText;
}

}  // extern "C"
