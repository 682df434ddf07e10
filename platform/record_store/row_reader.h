/// \file row_reader.h
/// Rows to records.

#pragma once

#include <json/value.h>

#include "record_store/definition.h"
#include "record_store/json_text.h"
#include "record_store/statement.h"

namespace record_store {

/// Turns rows, whose columns are those of the definition in its order, into JSON objects.
class RowReader {
public:
  explicit RowReader(const TableDefinition& definition);

  /// Reads the current row. A column that is SQL NULL is absent; one whose content does not fit its type is null,
  /// and a log line names it.
  Json::Value read(const Statement& statement);

private:
  void reportDamage(const Statement& statement, const Column& column) const;

  const TableDefinition& m_definition;
  JsonReader m_reader;
  // Copying an object that has every member already is cheaper than adding them one by one.
  Json::Value m_jPrototype;
};

}  // namespace record_store
