/// \file busy.h
/// Retries while another process uses the database.

#pragma once

#include <cstdint>

#include "record_store/failure.h"

struct sqlite3;

namespace record_store {

/// The pauses between attempts. They grow, vary so that waiting processes do not retry at the same times, and end after
/// 10 seconds.
class BusyPauses {
public:
  /// Waits before the next attempt.
  /// \return false, without waiting, when the time is used up.
  bool wait();

private:
  std::int64_t m_iDeadline = 0;
  std::int64_t m_iPause = 0;
};

/// The step that is repeated.
enum class RetryScope {
  STATEMENT,  ///< one statement, only outside a transaction, whose earlier reads may be stale
  COMMIT,     ///< the commit of a transaction, which stays open while it is refused
};

/// \return true when a busy failure may be tried again on this connection.
bool mayRetry(sqlite3* pDb, RetryScope scope);

/// Runs an attempt until the database is no longer busy, or the time is used up.
/// \param attempt  callable that starts from scratch each time.
/// \return what the attempt returns.
template <typename Attempt>
auto retryWhileBusy(sqlite3* pDb, const Attempt& attempt, RetryScope scope = RetryScope::STATEMENT) {
  BusyPauses pauses;
  for (;;) {
    try {
      return attempt();
    } catch (const StoreFailure& failure) {
      if (!failure.isBusy()) {
        throw;
      }
      if (!mayRetry(pDb, scope)) {
        RAISE(failure.code(), "{} (not tried again: a transaction is open)", failure.what());
      }
      if (!pauses.wait()) {
        RAISE(failure.code(), "{} (gave up after 10 seconds)", failure.what());
      }
    }
  }
}

}  // namespace record_store
