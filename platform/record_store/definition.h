/// \file definition.h
/// The parsed definition of one table.

#pragma once

#include <cstddef>
#include <cstdint>
#include <json/value.h>
#include <string>
#include <string_view>
#include <vector>

namespace record_store {

/// The type of a column.
enum class ColumnType {
  INTEGER,  ///< signed 64-bit integer
  BOOLEAN,  ///< 0 or 1 in the table, a boolean in a record
  TEXT,     ///< bytes, including NUL
  JSON,     ///< any JSON value, as compact text
};

/// One column of a table.
struct Column {
  std::string strName;
  ColumnType type;
};

/// A set of columns: one bit each, in the order of TableDefinition::columns().
using ColumnSet = std::uint64_t;

/// The limit of columns of a table, which fit into a ColumnSet.
constexpr std::size_t MAX_COLUMNS = 64;

/// The set with one column.
constexpr ColumnSet onlyColumn(std::size_t iColumn) {
  return ColumnSet{1} << iColumn;
}

/// The definition of one table. Its columns are sorted by name, like the members of a JSON object, so records and
/// columns are matched in one pass.
class TableDefinition {
public:
  /// \param strTable      name of the table.
  /// \param jDefinitions  object: one definition a table.
  /// Raises when the table's definition is missing or malformed.
  TableDefinition(const std::string& strTable, const Json::Value& jDefinitions);

  const std::string& table() const { return m_strTable; }
  const std::vector<Column>& columns() const { return m_columns; }
  const Column& column(std::size_t iColumn) const { return m_columns[iColumn]; }
  std::size_t keyIndex() const { return m_iKey; }
  const Column& key() const { return m_columns[m_iKey]; }

  /// The schema version of the database for this definition.
  int schema() const { return m_iSchema; }

private:
  std::size_t indexOf(std::string_view strName) const;

  std::string m_strTable;
  int m_iSchema = 0;
  std::vector<Column> m_columns;
  std::size_t m_iKey = 0;
};

/// The name of a type in definitions and log lines.
const char* typeName(ColumnType type);

}  // namespace record_store
