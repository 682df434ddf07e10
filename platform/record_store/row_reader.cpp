#include "record_store/row_reader.h"

#include <cerrno>
#include <sqlite3.h>

#include "record_store/column_value.h"
#include "support/last_error.h"
#include "support/log.h"

namespace record_store {

RowReader::RowReader(const TableDefinition& definition) : m_definition(definition), m_jPrototype(Json::objectValue) {
  for (const Column& column : definition.columns()) {
    m_jPrototype[column.strName] = Json::Value();
  }
}

Json::Value RowReader::read(const Statement& statement) {
  Json::Value jRecord(m_jPrototype);
  ColumnSet absent = 0;
  auto member = jRecord.begin();
  const int cColumns = static_cast<int>(m_definition.columns().size());
  for (int iColumn = 0; iColumn < cColumns; ++iColumn, ++member) {
    const Column& column = m_definition.column(static_cast<std::size_t>(iColumn));
    if (sqlite3_column_type(statement.handle(), iColumn) == SQLITE_NULL) {
      absent |= onlyColumn(static_cast<std::size_t>(iColumn));
    } else if (!readColumn(statement, iColumn, column.type, m_reader, *member)) {
      reportDamage(statement, column);
    }
  }
  for (std::size_t iColumn = 0; absent != 0; ++iColumn, absent >>= 1U) {
    if ((absent & 1U) != 0) {
      jRecord.removeMember(m_definition.column(iColumn).strName);
    }
  }
  return jRecord;
}

void RowReader::reportDamage(const Statement& statement, const Column& column) const {
  const int iKey = static_cast<int>(m_definition.keyIndex());
  const auto* szKey = reinterpret_cast<const char*>(sqlite3_column_text(statement.handle(), iKey));
  SET_LAST_ERROR(EBADMSG);
  logError("record store, table %s, row %s, column %s: the content is no %s value and is left out",
           m_definition.table().c_str(), szKey == nullptr ? "" : szKey, column.strName.c_str(), typeName(column.type));
}

}  // namespace record_store
