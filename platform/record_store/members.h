/// \file members.h
/// The members of a JSON object that are columns of a table.

#pragma once

#include <array>
#include <json/value.h>
#include <optional>
#include <string>

#include "record_store/column_value.h"
#include "record_store/definition.h"

namespace record_store {

/// An object's members, matched with the columns of a table. Borrows both.
class Members {
public:
  /// \param szWhat  name of the object, for the failure when it is not an object.
  Members(const TableDefinition& definition, const Json::Value& jObject, const char* szWhat);

  /// The columns that are members.
  ColumnSet set() const { return m_set; }

  /// The columns whose member becomes SQL NULL.
  ColumnSet nulls() const { return m_nulls; }

  /// The member of one column of set().
  const Json::Value& value(std::size_t iColumn) const { return *m_values[iColumn]; }

  /// A member without a column; none when every member has one.
  const std::optional<std::string>& unknown() const { return m_unknown; }

  /// Binds the members of some columns of set(), in the order of the columns.
  void bind(Binder& binder, ColumnSet columns) const;

private:
  const TableDefinition& m_definition;
  ColumnSet m_set = 0;
  ColumnSet m_nulls = 0;
  std::array<const Json::Value*, MAX_COLUMNS> m_values;
  std::optional<std::string> m_unknown;
};

}  // namespace record_store
