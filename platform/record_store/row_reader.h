/// \file row_reader.h
/// Converts rows to records.

#pragma once

#include <array>
#include <json/value.h>
#include <map>
#include <vector>

#include "record_store/definition.h"
#include "record_store/json_text.h"
#include "record_store/lasting_text.h"
#include "record_store/statement.h"

struct sqlite3_value;

namespace record_store {

/// Converts rows to JSON objects. The columns of the rows are those of the definition, in its order.
class RowReader {
public:
  explicit RowReader(const TableDefinition& definition);

  /// Reads the current row. A column that is SQL NULL is absent. A column whose value does not fit its type is null,
  /// and a log line names it.
  Json::Value read(const Statement& statement);

private:
  using Row = std::array<sqlite3_value*, MAX_COLUMNS>;

  ColumnSet valuesOf(const Statement& statement, Row& row) const;
  const Json::Value& prototype(ColumnSet present);
  void reportDamage(const Statement& statement, const Column& column) const;

  const TableDefinition& m_definition;
  JsonReader m_reader;
  std::vector<const char*> m_names;
  std::vector<RepeatedText> m_texts;
  std::map<ColumnSet, Json::Value> m_prototypes;
  std::map<ColumnSet, Json::Value>::const_iterator m_lastPrototype = m_prototypes.end();
};

}  // namespace record_store
