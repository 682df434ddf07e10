/// \file rows.h
/// The rows of a query, one by one: for many records of which few columns are needed.

#pragma once

#include <json/value.h>
#include <string>

#include "database.h"

namespace Host {

class Session;

class Rows {
public:
  /// \param session  borrowed; it must outlive this object.
  /// \throw Failure when the store cannot be read; here and below.
  Rows(const Session& session, const std::string& strSql);

  /// Begins again, with a text in the place of the "?" of the query.
  void restart(const std::string& strText);

  /// Goes to the next row, at first to the first one. \return false behind the last one.
  bool next();

  /// \name A column of the row
  /// @{
  std::string text(int iColumn) const { return columnText(m_statement, iColumn); }
  Json::Int64 number(int iColumn) const { return sqlite3_column_int64(m_statement.get(), iColumn); }
  bool isNull(int iColumn) const { return sqlite3_column_type(m_statement.get(), iColumn) == SQLITE_NULL; }
  bool isText(int iColumn) const { return sqlite3_column_type(m_statement.get(), iColumn) == SQLITE_TEXT; }
  /// @}

private:
  sqlite3* m_pDb;
  Statement m_statement;
};

}  // namespace Host
