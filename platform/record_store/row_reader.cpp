#include "record_store/row_reader.h"

#include <cerrno>
#include <sqlite3.h>

#include "record_store/column_value.h"
#include "support/last_error.h"
#include "support/log.h"

namespace record_store {
namespace {

// The rows of a table have few different sets of NULLs.
constexpr std::size_t MAX_PROTOTYPES = 64;

// Reading a value takes the connection's mutex twice. Holding it for the whole row avoids this.
class ConnectionLock {
public:
  explicit ConnectionLock(sqlite3* pDb) : m_pMutex(sqlite3_db_mutex(pDb)) { sqlite3_mutex_enter(m_pMutex); }
  ~ConnectionLock() { sqlite3_mutex_leave(m_pMutex); }
  ConnectionLock(const ConnectionLock&) = delete;
  ConnectionLock& operator=(const ConnectionLock&) = delete;

private:
  sqlite3_mutex* m_pMutex;
};

}  // namespace

RowReader::RowReader(const TableDefinition& definition)
    : m_definition(definition), m_texts(definition.columns().size()) {
  for (const Column& column : definition.columns()) {
    m_names.push_back(lastingName(column.strName));
  }
}

ColumnSet RowReader::valuesOf(const Statement& statement, Row& row) const {
  ColumnSet present = 0;
  for (std::size_t iColumn = 0; iColumn < m_names.size(); ++iColumn) {
    row[iColumn] = sqlite3_column_value(statement.handle(), static_cast<int>(iColumn));
    if (sqlite3_value_type(row[iColumn]) != SQLITE_NULL) {
      present |= onlyColumn(iColumn);
    }
  }
  return present;
}

// An object with all members set to null. Copying it is cheaper than adding the members one by one.
const Json::Value& RowReader::prototype(ColumnSet present) {
  if (m_lastPrototype != m_prototypes.end() && m_lastPrototype->first == present) {
    return m_lastPrototype->second;
  }
  m_lastPrototype = m_prototypes.find(present);
  if (m_lastPrototype != m_prototypes.end()) {
    return m_lastPrototype->second;
  }
  if (m_prototypes.size() >= MAX_PROTOTYPES) {
    m_prototypes.clear();
  }
  Json::Value jPrototype(Json::objectValue);
  for (std::size_t iColumn = 0; iColumn < m_names.size(); ++iColumn) {
    if ((present & onlyColumn(iColumn)) != 0) {
      jPrototype[Json::StaticString(m_names[iColumn])] = Json::Value();
    }
  }
  m_lastPrototype = m_prototypes.emplace(present, std::move(jPrototype)).first;
  return m_lastPrototype->second;
}

Json::Value RowReader::read(const Statement& statement) {
  const ConnectionLock lock(statement.database());
  Row row;
  const ColumnSet present = valuesOf(statement, row);
  Json::Value jRecord(prototype(present));
  auto member = jRecord.begin();
  for (std::size_t iColumn = 0; iColumn < m_names.size(); ++iColumn) {
    if ((present & onlyColumn(iColumn)) == 0) {
      continue;
    }
    const Column& column = m_definition.column(iColumn);
    if (!readColumn(row[iColumn], column.type, {m_reader, m_texts[iColumn]}, *member)) {
      reportDamage(statement, column);
    }
    ++member;
  }
  return jRecord;
}

void RowReader::reportDamage(const Statement& statement, const Column& column) const {
  const int iKey = static_cast<int>(m_definition.keyIndex());
  const auto* szKey = reinterpret_cast<const char*>(sqlite3_column_text(statement.handle(), iKey));
  SET_LAST_ERROR(EBADMSG);
  logError("record store, table %s, row %s, column %s: the value is not of type %s and is ignored",
           m_definition.table().c_str(), szKey == nullptr ? "" : szKey, column.strName.c_str(), typeName(column.type));
}

}  // namespace record_store
