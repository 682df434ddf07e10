// The deleter of a database; the other operations are exported.

#pragma once

#include <memory>
#include <sqlite3.h>

namespace Orva {

struct CloseDatabase {
  void operator()(sqlite3* pDb) const { sqlite3_close(pDb); }
};
using Database = std::unique_ptr<sqlite3, CloseDatabase>;

struct FreeSqlText {
  void operator()(char* szText) const { sqlite3_free(szText); }
};
using SqlText = std::unique_ptr<char, FreeSqlText>;

}  // namespace Orva
