/// \file column_value.h
/// Binding one value to a statement, and reading one from a row.

#pragma once

#include <json/value.h>
#include <string>

#include "record_store/definition.h"
#include "record_store/json_text.h"
#include "record_store/lasting_text.h"
#include "record_store/statement.h"

struct sqlite3_value;

namespace record_store {

/// True for a value that becomes SQL NULL. Never true for a JSON column, which stores JSON null.
bool isSqlNull(const Column& column, const Json::Value& jValue);

/// Binds values to the parameters of a statement, one after the other.
/// Texts are not copied: the bound values must outlive the statement's steps.
class Binder {
public:
  explicit Binder(const Statement& statement) : m_statement(statement) {}

  /// Binds the next parameter. Raises when the value does not fit the column's type.
  void bind(const Column& column, const Json::Value& jValue);

private:
  int bindJson(int iParameter, const Column& column, const Json::Value& jValue);

  const Statement& m_statement;
  int m_iBound = 0;
  std::string m_strJson;
};

/// State from earlier rows.
struct ColumnMemory {
  JsonReader& reader;
  RepeatedText& text;
};

/// Reads one value of a row, which is not SQL NULL.
/// \param pStored  the value; the caller holds the connection's mutex.
/// \param memory   of this column.
/// \param jOut     replaced by the value.
/// \return false, with null in jOut, when the column's type does not allow the value.
bool readColumn(sqlite3_value* pStored, ColumnType type, const ColumnMemory& memory, Json::Value& jOut);

}  // namespace record_store
