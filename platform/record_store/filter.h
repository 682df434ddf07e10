/// \file filter.h
/// A caller's filter: members that must be equal, or a WHERE clause.

#pragma once

#include <json/value.h>
#include <optional>
#include <string>

#include "record_store/definition.h"
#include "record_store/members.h"
#include "record_store/sql_texts.h"

namespace record_store {

/// The filters that an operation accepts.
enum class FilterKind { MEMBERS_ONLY, MEMBERS_OR_RAW };

/// A checked filter. Borrows the JSON value.
class Filter {
public:
  /// Raises when the value is not a filter of this kind.
  Filter(const TableDefinition& definition, const Json::Value& jFilter, FilterKind kind);

  /// The caller's own WHERE clause; none when the filter is made of members.
  const std::optional<std::string>& raw() const { return m_raw; }

  /// The columns of the members, which decide the SQL text.
  FilterShape shape() const { return {m_members.set(), m_members.nulls()}; }

  const Members& members() const { return m_members; }

  /// Binds the members' values to the parameters of that text.
  void bind(Binder& binder) const { m_members.bind(binder, shape().bound()); }

private:
  Members m_members;
  std::optional<std::string> m_raw;
};

}  // namespace record_store
