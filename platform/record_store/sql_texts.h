/// \file sql_texts.h
/// The SQL texts of one table, built once for each set of columns.

#pragma once

#include <compare>
#include <map>
#include <string>

#include "record_store/definition.h"

namespace record_store {

/// The form of a filter of members: its columns, and those that must be SQL NULL.
struct FilterShape {
  ColumnSet columns = 0;
  ColumnSet nulls = 0;

  /// The columns that are compared with a parameter.
  ColumnSet bound() const { return columns & ~nulls; }

  auto operator<=>(const FilterShape&) const = default;
};

/// The number of rows that a query reads.
enum class RowLimit { NONE, ONE };

/// The texts. Parameters are in the order of the columns: first the new values, then the filter's values.
class SqlTexts {
public:
  explicit SqlTexts(const TableDefinition& definition);

  /// Inserts a row with values for some columns, and returns the whole row.
  const std::string& insertRow(ColumnSet columns);

  /// Reads rows, in the order of the key.
  const std::string& selectRows(const FilterShape& filter, RowLimit limit);

  /// Reads rows by a caller's WHERE clause; this text is not cached.
  /// \param blNumbered  the rows have numbers; those of a view, for example, have none.
  std::string selectRaw(const std::string& strWhere, RowLimit limit, bool blNumbered) const;

  /// Sets new values of some columns.
  const std::string& updateRows(ColumnSet columns, const FilterShape& filter);

  /// Deletes the row with one key.
  const std::string& deleteRow() const { return m_strDelete; }

private:
  enum class Kind { INSERT, SELECT, SELECT_ONE, UPDATE };

  struct Key {
    Kind kind;
    ColumnSet columns;
    FilterShape filter;

    auto operator<=>(const Key&) const = default;
  };

  template <typename Build>
  const std::string& kept(const Key& key, const Build& build);

  std::string names(ColumnSet columns, const char* szBefore, const char* szAfter, const char* szBetween) const;
  std::string where(const FilterShape& filter) const;
  std::string orderAndLimit(RowLimit limit) const;

  const TableDefinition& m_definition;
  std::string m_strTable;
  std::string m_strAllColumns;
  std::string m_strDelete;
  std::map<Key, std::string> m_texts;
};

}  // namespace record_store
