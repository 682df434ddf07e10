/// \file statement_steps.h
/// How much work SQLite does: a measure that other load on the machine does not change.

#pragma once

#include <sqlite3.h>

#include "common/store/session.h"

namespace HostTest {

/// Counts the steps of all statements of a session, in hundreds, for as long as it lives.
class StatementSteps {
public:
  explicit StatementSteps(const Host::Session& session) : m_pDb(session.db()) {
    sqlite3_progress_handler(m_pDb, 100, &count, this);
  }
  ~StatementSteps() { sqlite3_progress_handler(m_pDb, 0, nullptr, nullptr); }

  StatementSteps(const StatementSteps&) = delete;
  StatementSteps& operator=(const StatementSteps&) = delete;

  unsigned hundreds() const { return m_cHundreds; }

private:
  static int count(void* pSteps) {
    ++static_cast<StatementSteps*>(pSteps)->m_cHundreds;
    return 0;
  }

  sqlite3* m_pDb;
  unsigned m_cHundreds = 0;
};

}  // namespace HostTest
