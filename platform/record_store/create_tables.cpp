#include "record_store/create_tables.h"

#include <cerrno>
#include <cstring>
#include <sqlite3.h>
#include <string_view>
#include <strings.h>

#include "record_store/busy.h"
#include "record_store/failure.h"
#include "record_store/statement.h"

namespace record_store {
namespace {

/// A transaction that is rolled back unless it was committed.
class Transaction {
public:
  explicit Transaction(sqlite3* pDb) : m_pDb(pDb) {
    // The write lock at once: a transaction that reads first could not be tried again.
    retryWhileBusy(m_pDb, [this] { execute(m_pDb, "BEGIN IMMEDIATE"); });
  }

  ~Transaction() {
    if (sqlite3_get_autocommit(m_pDb) == 0) {
      sqlite3_exec(m_pDb, "ROLLBACK", nullptr, nullptr, nullptr);
    }
  }

  Transaction(const Transaction&) = delete;
  Transaction& operator=(const Transaction&) = delete;

  void commit() {
    retryWhileBusy(m_pDb, [this] { execute(m_pDb, "COMMIT"); }, RetryScope::COMMIT);
  }

private:
  sqlite3* m_pDb;
};

int readSchema(sqlite3* pDb) {
  Statement statement(pDb, "PRAGMA user_version");
  return statement.step() ? sqlite3_column_int(statement.handle(), 0) : 0;
}

// Where the next statement begins: behind blanks, comments and empty statements.
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

// The journal mode, for one, cannot change inside a transaction, and changing it finds the database busy like any
// write.
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

void runStatements(sqlite3* pDb, const char* szSql) {
  while (*szSql != '\0') {
    const char* szTail = nullptr;
    Statement statement(pDb, szSql, szTail);
    if (!statement.isEmpty()) {
      statement.finish();
    }
    szSql = szTail;
  }
}

void create(sqlite3* pDb, const TableDefinition& definition, const std::string& strSqlCreate) {
  const char* szRest = runLeadingPragmas(pDb, strSqlCreate.c_str());
  Transaction transaction(pDb);
  if (readSchema(pDb) < definition.schema()) {
    runStatements(pDb, szRest);
  }
  const int iSchema = readSchema(pDb);
  if (iSchema != definition.schema()) {
    RAISE(EINVAL, "the creation SQL gives schema version {}, the definition describes {}", iSchema,
          definition.schema());
  }
  transaction.commit();
}

}  // namespace

void makeReady(sqlite3* pDb, const TableDefinition& definition, const std::string& strSqlCreate) {
  if (pDb == nullptr) {
    RAISE(EINVAL, "there is no connection");
  }
  retryWhileBusy(pDb, [pDb] { execute(pDb, "PRAGMA synchronous = FULL"); });
  const int iSchema = retryWhileBusy(pDb, [pDb] { return readSchema(pDb); });
  if (iSchema > definition.schema()) {
    RAISE(ENOTSUP, "the database has schema version {}, newer than {}, the newest that this system knows", iSchema,
          definition.schema());
  }
  if (iSchema < definition.schema() && !strSqlCreate.empty()) {
    create(pDb, definition, strSqlCreate);
  }
}

}  // namespace record_store
