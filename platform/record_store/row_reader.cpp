#include "record_store/row_reader.h"

#include <cerrno>
#include <mutex>
#include <set>
#include <sqlite3.h>

#include "record_store/column_value.h"
#include "support/last_error.h"
#include "support/log.h"

namespace record_store {
namespace {

// Rows of a table have few different sets of NULLs.
constexpr std::size_t MAX_PROTOTYPES = 64;

// Names that outlive every record, so that a record need not copy the names of its members, which would be a large part
// of what reading a row costs. There are as many as the definitions have columns; they are never freed, on purpose.
const char* lastingName(const std::string& strName) {
  static std::mutex mutex;
  static auto& names = *new std::set<std::string>;
  const std::lock_guard<std::mutex> lock(mutex);
  return names.insert(strName).first->c_str();
}

}  // namespace

RowReader::RowReader(const TableDefinition& definition) : m_definition(definition) {
  for (const Column& column : definition.columns()) {
    m_names.push_back(lastingName(column.strName));
  }
}

ColumnSet RowReader::presentColumns(const Statement& statement, StoredTypes& types) const {
  ColumnSet present = 0;
  for (std::size_t iColumn = 0; iColumn < m_names.size(); ++iColumn) {
    types[iColumn] = sqlite3_column_type(statement.handle(), static_cast<int>(iColumn));
    if (types[iColumn] != SQLITE_NULL) {
      present |= onlyColumn(iColumn);
    }
  }
  return present;
}

// An object that has the members already, with null for each; copying it is cheaper than adding them one by one.
const Json::Value& RowReader::prototype(ColumnSet present) {
  const auto found = m_prototypes.find(present);
  if (found != m_prototypes.end()) {
    return found->second;
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
  return m_prototypes.emplace(present, std::move(jPrototype)).first->second;
}

Json::Value RowReader::read(const Statement& statement) {
  StoredTypes types;
  const ColumnSet present = presentColumns(statement, types);
  Json::Value jRecord(prototype(present));
  auto member = jRecord.begin();
  for (std::size_t iColumn = 0; iColumn < m_names.size(); ++iColumn) {
    if ((present & onlyColumn(iColumn)) == 0) {
      continue;
    }
    const Column& column = m_definition.column(iColumn);
    const StoredColumn stored{statement.handle(), static_cast<int>(iColumn), types[iColumn]};
    if (!readColumn(stored, column.type, m_reader, *member)) {
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
  logError("record store, table %s, row %s, column %s: the content is no %s value and is left out",
           m_definition.table().c_str(), szKey == nullptr ? "" : szKey, column.strName.c_str(), typeName(column.type));
}

}  // namespace record_store
