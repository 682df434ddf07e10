/// \file table.h
/// A table for people to read.

#pragma once

#include <memory>
#include <string>
#include <vector>

struct libscols_table;
struct libscols_line;

class Table {
public:
  struct Column {
    const char* szName;
    bool blRight = false;  ///< numbers
    bool blTree = false;   ///< shows which row stands below which
    bool blTrunc = false;  ///< gives way first when the terminal is narrow
  };

  struct Cell {
    std::string strText;
    const char* szColor = nullptr;  ///< name of a colour
  };

  Table(const std::vector<Column>& vecColumns, bool blColor);

  /// Adds a row, below another one in a tree.
  libscols_line* addRow(const std::vector<Cell>& vecCells, libscols_line* pParent = nullptr);

  /// Shows the table on standard output.
  void print() const;

private:
  struct Free {
    void operator()(libscols_table* pTable) const;
  };

  std::unique_ptr<libscols_table, Free> m_pTable;
};
