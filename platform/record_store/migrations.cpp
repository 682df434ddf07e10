#include "record_store/migrations.h"

#include <cerrno>
#include <sqlite3.h>
#include <utility>

#include "record_store/definition.h"
#include "record_store/failure.h"
#include "record_store/statement.h"

namespace record_store {
namespace {

const Json::Value& member(const Json::Value& jObject, const char* szName) {
  return jObject.isObject() ? jObject[szName] : Json::Value::nullSingleton();
}

std::string textIn(const Json::Value& jText) {
  if (!jText.isString() || jText.asString().empty()) {
    RAISE(EINVAL, "a migration lacks a text");
  }
  return jText.asString();
}

// A list may be absent, but not have another type.
const Json::Value& listIn(const Json::Value& jStep, const char* szName) {
  static const Json::Value jNone(Json::arrayValue);
  const Json::Value& jList = member(jStep, szName);
  if (!jList.isNull() && !jList.isArray()) {
    RAISE(EINVAL, "a migration's {} is not an array", szName);
  }
  return jList.isNull() ? jNone : jList;
}

bool hasTable(sqlite3* pDb, const std::string& strTable) {
  return sqlite3_table_column_metadata(pDb, "main", strTable.c_str(), nullptr, nullptr, nullptr, nullptr, nullptr,
                                       nullptr) == SQLITE_OK;
}

bool hasColumn(sqlite3* pDb, const std::string& strTable, const std::string& strColumn) {
  return sqlite3_table_column_metadata(pDb, "main", strTable.c_str(), strColumn.c_str(), nullptr, nullptr, nullptr,
                                       nullptr, nullptr) == SQLITE_OK;
}

}  // namespace

Migrations::NewColumn Migrations::columnIn(const Json::Value& jColumn) {
  return {textIn(member(jColumn, "table")), textIn(member(jColumn, "name")), textIn(member(jColumn, "declaration"))};
}

Migrations::Step Migrations::stepIn(const Json::Value& jStep) {
  const Json::Value& jSchema = member(jStep, "schema");
  if (!jSchema.isInt()) {
    RAISE(EINVAL, "a migration has no schema version");
  }
  Step step{jSchema.asInt(), {}, {}};
  for (const Json::Value& jColumn : listIn(jStep, "columns")) {
    step.columns.push_back(columnIn(jColumn));
  }
  for (const Json::Value& jStatement : listIn(jStep, "sql")) {
    step.statements.push_back(textIn(jStatement));
  }
  return step;
}

Migrations::Migrations(const Json::Value& jDefinitions) {
  for (const Json::Value& jStep : listIn(jDefinitions, MIGRATIONS_MEMBER)) {
    Step step = stepIn(jStep);
    if (!m_steps.empty() && step.iSchema <= m_steps.back().iSchema) {
      RAISE(EINVAL, "the migration to schema version {} comes after the one to {}", step.iSchema,
            m_steps.back().iSchema);
    }
    m_steps.push_back(std::move(step));
  }
}

void Migrations::run(sqlite3* pDb, int iFrom) const {
  for (const Step& step : m_steps) {
    if (step.iSchema <= iFrom) {
      continue;
    }
    for (const NewColumn& column : step.columns) {
      if (hasTable(pDb, column.strTable) && !hasColumn(pDb, column.strTable, column.strName)) {
        execute(pDb, fmt::format("ALTER TABLE main.[{}] ADD COLUMN [{}] {}", column.strTable, column.strName,
                                 column.strDeclaration));
      }
    }
    for (const std::string& strStatement : step.statements) {
      execute(pDb, strStatement);
    }
  }
}

void requireDefinedColumns(sqlite3* pDb, const Json::Value& jDefinitions) {
  for (const std::string& strTable : jDefinitions.getMemberNames()) {
    if (strTable == MIGRATIONS_MEMBER) {
      continue;
    }
    const TableDefinition definition(strTable, jDefinitions);
    for (const Column& column : definition.columns()) {
      if (!hasColumn(pDb, strTable, column.strName)) {
        RAISE(EINVAL, "no migration adds the column {} to the table {}", column.strName, strTable);
      }
    }
  }
}

}  // namespace record_store
