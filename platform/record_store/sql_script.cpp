#include "record_store/sql_script.h"

#include <cstring>
#include <string_view>
#include <strings.h>

#include "record_store/busy.h"
#include "record_store/statement.h"

namespace record_store {
namespace {

// Finds the next statement, after blanks, comments and empty statements.
const char* skipToStatement(const char* szSql) {
  for (;;) {
    szSql += std::strspn(szSql, " \t\r\n\f;");
    const std::string_view strRest(szSql);
    if (strRest.starts_with("--")) {
      szSql += std::strcspn(szSql, "\n");
    } else if (strRest.starts_with("/*")) {
      const std::size_t iEnd = strRest.find("*/", 2);
      szSql += iEnd == std::string_view::npos ? strRest.size() : iEnd + 2;
    } else {
      return szSql;
    }
  }
}

bool isPragma(const char* szSql) {
  constexpr std::string_view PRAGMA = "pragma";
  return strncasecmp(szSql, PRAGMA.data(), PRAGMA.size()) == 0;
}

}  // namespace

const char* runLeadingPragmas(sqlite3* pDb, const char* szSql) {
  for (szSql = skipToStatement(szSql); isPragma(szSql); szSql = skipToStatement(szSql)) {
    szSql = retryWhileBusy(pDb, [pDb, szSql] {
      const char* szTail = nullptr;
      Statement(pDb, szSql, szTail).finish();
      return szTail;
    });
  }
  return szSql;
}

void runScript(sqlite3* pDb, const char* szSql) {
  while (*szSql != '\0') {
    const char* szTail = nullptr;
    Statement statement(pDb, szSql, szTail);
    if (!statement.isEmpty()) {
      statement.finish();
    }
    szSql = szTail;
  }
}

}  // namespace record_store
