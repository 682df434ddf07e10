#include "record_store/members.h"

#include <cerrno>
#include <string_view>

#include "record_store/failure.h"

namespace record_store {

Members::Members(const TableDefinition& definition, const Json::Value& jObject, const char* szWhat)
    : m_definition(definition) {
  if (!jObject.isObject()) {
    RAISE(EINVAL, "the {} is not an object", szWhat);
  }
  const std::vector<Column>& columns = definition.columns();
  std::size_t iColumn = 0;
  for (auto member = jObject.begin(); member != jObject.end(); ++member) {
    const char* pEnd = nullptr;
    const char* pBegin = member.memberName(&pEnd);
    const std::string_view strName(pBegin, static_cast<std::size_t>(pEnd - pBegin));
    while (iColumn < columns.size() && columns[iColumn].strName < strName) {
      ++iColumn;
    }
    if (iColumn == columns.size() || columns[iColumn].strName != strName) {
      m_unknown = strName;
      continue;
    }
    m_values[iColumn] = &*member;
    m_set |= onlyColumn(iColumn);
    m_nulls |= isSqlNull(columns[iColumn], *member) ? onlyColumn(iColumn) : 0;
  }
}

void Members::bind(Binder& binder, ColumnSet columns) const {
  for (std::size_t iColumn = 0; iColumn < m_definition.columns().size(); ++iColumn) {
    if ((columns & onlyColumn(iColumn)) != 0) {
      binder.bind(m_definition.column(iColumn), value(iColumn));
    }
  }
}

}  // namespace record_store
