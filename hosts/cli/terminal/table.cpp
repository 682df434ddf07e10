#include "table.h"

#include <cstddef>
#include <libsmartcols/libsmartcols.h>
#include <new>

#include "common/text/terminal_text.h"

void Table::Free::operator()(libscols_table* pTable) const {
  scols_unref_table(pTable);
}

Table::Table(const std::vector<Column>& vecColumns, bool blColor) : m_pTable(scols_new_table()) {
  if (m_pTable == nullptr) {
    throw std::bad_alloc();
  }
  // No trailing blanks.
  scols_table_enable_minout(m_pTable.get(), 1);
  scols_table_enable_colors(m_pTable.get(), blColor ? 1 : 0);
  for (const Column& column : vecColumns) {
    const int iFlags = (column.blRight ? SCOLS_FL_RIGHT : 0) | (column.blTree ? SCOLS_FL_TREE : 0) |
                       (column.blTrunc ? SCOLS_FL_TRUNC : 0);
    libscols_column* const pColumn = scols_table_new_column(m_pTable.get(), column.szName, 0, iFlags);
    // The names of units have backslashes, which would be shown as "\\x5c".
    if (pColumn == nullptr || scols_column_set_safechars(pColumn, "\\") != 0) {
      throw std::bad_alloc();
    }
  }
}

libscols_line* Table::addRow(const std::vector<Cell>& vecCells, libscols_line* pParent) {
  libscols_line* pLine = scols_table_new_line(m_pTable.get(), pParent);
  if (pLine == nullptr) {
    throw std::bad_alloc();
  }
  for (std::size_t i = 0; i < vecCells.size(); ++i) {
    if (scols_line_set_data(pLine, i, Host::onOneLine(vecCells[i].strText).c_str()) != 0) {
      throw std::bad_alloc();
    }
    if (vecCells[i].szColor != nullptr &&
        scols_cell_set_color(scols_line_get_cell(pLine, i), vecCells[i].szColor) != 0) {
      throw std::bad_alloc();
    }
  }
  return pLine;
}

void Table::print() const {
  if (scols_print_table(m_pTable.get()) != 0) {
    throw std::bad_alloc();
  }
}
