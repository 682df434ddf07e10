#include "record_store/schema.h"

#include <cerrno>
#include <optional>
#include <sqlite3.h>

#include "record_store/busy.h"
#include "record_store/failure.h"
#include "record_store/kept_copy.h"
#include "record_store/migrations.h"
#include "record_store/sql_script.h"
#include "record_store/statement.h"
#include "record_store/transaction.h"
#include "support/log.h"

namespace record_store {
namespace {

int readSchema(sqlite3* pDb) {
  Statement statement(pDb, "PRAGMA user_version");
  return statement.step() ? sqlite3_column_int(statement.handle(), 0) : 0;
}

bool hasTables(sqlite3* pDb) {
  return Statement(pDb, "SELECT 1 FROM main.sqlite_schema WHERE type = 'table' AND name NOT GLOB 'sqlite_*'").step();
}

/// The upgrade of a database from an older schema version to the definition's.
class Upgrade {
public:
  Upgrade(sqlite3* pDb, const TableDefinition& definition, const Json::Value& jDefinitions)
      : m_pDb(pDb), m_definition(definition), m_jDefinitions(jDefinitions) {}

  void run(const std::string& strSqlCreate) {
    const char* szTables = runLeadingPragmas(m_pDb, strSqlCreate.c_str());
    Transaction transaction(m_pDb);
    m_iFrom = readSchema(m_pDb);
    if (m_iFrom < m_definition.schema()) {
      change(szTables);
    }
    requireVersion();
    transaction.commit();
    if (m_copy) {
      m_copy->confirm();
      report();
    }
  }

private:
  void change(const char* szTables) {
    const bool blMigrate = hasTables(m_pDb);
    if (blMigrate) {
      m_copy.emplace(m_pDb, m_iFrom);
      Migrations(m_jDefinitions).run(m_pDb, m_iFrom);
    }
    runScript(m_pDb, szTables);
    if (blMigrate) {
      requireDefinedColumns(m_pDb, m_jDefinitions);
    }
  }

  void requireVersion() const {
    const int iSchema = readSchema(m_pDb);
    if (iSchema != m_definition.schema()) {
      RAISE(EINVAL, "the creation SQL sets schema version {}, but the definition has {}", iSchema,
            m_definition.schema());
    }
  }

  void report() const {
    if (m_copy && !m_copy->path().empty()) {
      logNotice("record store: the database now has schema version %d; a copy with version %d is kept in %s",
                m_definition.schema(), m_iFrom, m_copy->path().c_str());
    }
  }

  sqlite3* m_pDb;
  const TableDefinition& m_definition;
  const Json::Value& m_jDefinitions;
  int m_iFrom = 0;
  std::optional<KeptCopy> m_copy;
};

}  // namespace

void makeReady(sqlite3* pDb, const TableDefinition& definition, const Json::Value& jDefinitions,
               const std::string& strSqlCreate) {
  if (pDb == nullptr) {
    RAISE(EINVAL, "no connection");
  }
  retryWhileBusy(pDb, [pDb] { execute(pDb, "PRAGMA synchronous = FULL"); });
  const int iSchema = retryWhileBusy(pDb, [pDb] { return readSchema(pDb); });
  if (iSchema > definition.schema()) {
    RAISE(ENOTSUP, "the database has schema version {}, newer than {}, the newest supported version", iSchema,
          definition.schema());
  }
  if (iSchema < definition.schema() && !strSqlCreate.empty()) {
    Upgrade(pDb, definition, jDefinitions).run(strSqlCreate);
  }
}

}  // namespace record_store
