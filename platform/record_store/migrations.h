/// \file migrations.h
/// The steps from one schema version to the next.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

struct sqlite3;

namespace record_store {

/// The member of the definitions with the steps; every other member is a table.
constexpr const char* MIGRATIONS_MEMBER = "migrations";

/// The changes of existing tables, which the creation SQL cannot make. Each step has the changes of one version.
class Migrations {
public:
  /// Raises when the member `migrations` exists and is not an array of steps in the order of their versions.
  explicit Migrations(const Json::Value& jDefinitions);

  /// Runs, in the caller's transaction, every step above one version, the lowest first.
  ///
  /// A column is added if its table exists and lacks it. A database that was restored from SQL text may have its
  /// columns already, but not its version. The creation SQL makes a missing table with all columns.
  void run(sqlite3* pDb, int iFrom) const;

private:
  struct NewColumn {
    std::string strTable;
    std::string strName;
    std::string strDeclaration;
  };

  struct Step {
    int iSchema;
    std::vector<NewColumn> columns;
    std::vector<std::string> statements;
  };

  static Step stepIn(const Json::Value& jStep);
  static NewColumn columnIn(const Json::Value& jColumn);

  std::vector<Step> m_steps;
};

/// Raises when a table lacks a column that its definition has.
void requireDefinedColumns(sqlite3* pDb, const Json::Value& jDefinitions);

}  // namespace record_store
