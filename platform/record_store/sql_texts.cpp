#include "record_store/sql_texts.h"

#include <fmt/format.h>

namespace record_store {
namespace {

// Callers normally use few column sets. The limit protects the memory from a caller with ever new sets.
constexpr std::size_t MAX_KEPT = 256;

// Uses brackets, because SQLite reads an unknown name between double quotes as a string.
std::string bracketed(const std::string& strName) {
  return fmt::format("[{}]", strName);
}

}  // namespace

SqlTexts::SqlTexts(const TableDefinition& definition)
    : m_definition(definition),
      // The prefix "main" excludes temporary tables of the same name.
      m_strTable(fmt::format("main.[{}]", definition.table())),
      m_strAllColumns(names(~ColumnSet{0}, "", "", ",")),
      m_strDelete(fmt::format("DELETE FROM {} WHERE {}=?", m_strTable, bracketed(definition.key().strName))) {}

template <typename Build>
const std::string& SqlTexts::kept(const Key& key, const Build& build) {
  const auto found = m_texts.find(key);
  if (found != m_texts.end()) {
    return found->second;
  }
  if (m_texts.size() >= MAX_KEPT) {
    m_texts.clear();
  }
  return m_texts.emplace(key, build()).first->second;
}

std::string SqlTexts::names(ColumnSet columns, const char* szBefore, const char* szAfter, const char* szBetween) const {
  std::string strNames;
  for (std::size_t iColumn = 0; iColumn < m_definition.columns().size(); ++iColumn) {
    if ((columns & onlyColumn(iColumn)) != 0) {
      strNames += strNames.empty() ? "" : szBetween;
      strNames += szBefore;
      strNames += bracketed(m_definition.column(iColumn).strName);
      strNames += szAfter;
    }
  }
  return strNames;
}

std::string SqlTexts::where(const FilterShape& filter) const {
  std::string strEqual = names(filter.bound(), "", "=?", " AND ");
  std::string strNull = names(filter.nulls, "", " IS NULL", " AND ");
  if (strEqual.empty() && strNull.empty()) {
    return "";
  }
  return " WHERE " + strEqual + (strEqual.empty() || strNull.empty() ? "" : " AND ") + strNull;
}

std::string SqlTexts::orderAndLimit(RowLimit limit) const {
  return fmt::format(" ORDER BY {}{}", bracketed(m_definition.key().strName), limit == RowLimit::ONE ? " LIMIT 1" : "");
}

const std::string& SqlTexts::insertRow(ColumnSet columns) {
  return kept({Kind::INSERT, columns, {}}, [&] {
    if (columns == 0) {
      return fmt::format("INSERT INTO {} DEFAULT VALUES RETURNING {}", m_strTable, m_strAllColumns);
    }
    std::string strParameters;
    for (ColumnSet left = columns; left != 0; left &= left - 1) {
      strParameters += strParameters.empty() ? "?" : ",?";
    }
    return fmt::format("INSERT INTO {}({}) VALUES({}) RETURNING {}", m_strTable, names(columns, "", "", ","),
                       strParameters, m_strAllColumns);
  });
}

const std::string& SqlTexts::selectRows(const FilterShape& filter, RowLimit limit) {
  const Kind kind = limit == RowLimit::ONE ? Kind::SELECT_ONE : Kind::SELECT;
  return kept({kind, 0, filter}, [&] {
    // If the filter has the key, there is at most one row, so no order is needed.
    const bool blKeyGiven = (filter.bound() & onlyColumn(m_definition.keyIndex())) != 0;
    return fmt::format("SELECT {} FROM {}{}{}", m_strAllColumns, m_strTable, where(filter),
                       blKeyGiven ? "" : orderAndLimit(limit));
  });
}

std::string SqlTexts::selectRaw(const std::string& strWhere, RowLimit limit, bool blNumbered) const {
  // The line end ends a comment at the end of the clause.
  std::string strMatch = fmt::format("({}\n)", strWhere);
  // SQLite reads the numbers of the rows from an index if one has all columns of the clause. So it need not read each
  // row, with a script in it. Where one row is enough, it had better stop at the first.
  if (blNumbered && limit == RowLimit::NONE) {
    strMatch = fmt::format("rowid IN (SELECT rowid FROM {} WHERE {})", m_strTable, strMatch);
  }
  return fmt::format("SELECT {} FROM {} WHERE {}{}", m_strAllColumns, m_strTable, strMatch, orderAndLimit(limit));
}

const std::string& SqlTexts::updateRows(ColumnSet columns, const FilterShape& filter) {
  return kept({Kind::UPDATE, columns, filter}, [&] {
    return fmt::format("UPDATE {} SET {}{}", m_strTable, names(columns, "", "=?", ","), where(filter));
  });
}

}  // namespace record_store
