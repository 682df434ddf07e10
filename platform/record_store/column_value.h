/// \file column_value.h
/// One value on its way into a statement and out of a row.

#pragma once

#include <json/value.h>
#include <string>

#include "record_store/definition.h"
#include "record_store/json_text.h"
#include "record_store/lasting_text.h"
#include "record_store/statement.h"

struct sqlite3_value;

namespace record_store {

/// True for a value that becomes SQL NULL. A JSON column has a null of its own, so nothing does there.
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

/// What is remembered from the rows before.
struct ColumnMemory {
  JsonReader& reader;
  RepeatedText& text;
};

/// Reads one value of a row, which is not SQL NULL.
/// \param pStored  the value; the caller holds the connection's mutex.
/// \param memory   of this column.
/// \param jOut     replaced by the value.
/// \return false, and null in jOut, when the row holds what the column's type does not allow.
bool readColumn(sqlite3_value* pStored, ColumnType type, const ColumnMemory& memory, Json::Value& jOut);

}  // namespace record_store
