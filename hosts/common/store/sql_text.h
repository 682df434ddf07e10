/// \file sql_text.h
/// Texts within the WHERE clauses that the store is given.

#pragma once

#include <memory>
#include <new>
#include <sqlite3.h>
#include <string>

namespace Host {

/// Gives a text as an SQL literal.
inline std::string sqlText(const std::string& strText) {
  const std::unique_ptr<char, decltype(&sqlite3_free)> szText(sqlite3_mprintf("%Q", strText.c_str()), &sqlite3_free);
  if (szText == nullptr) {
    throw std::bad_alloc();
  }
  return szText.get();
}

}  // namespace Host
