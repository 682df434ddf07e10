/// \file busy.h
/// Retries while another process uses the database, or while a disk takes no write.

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
  WRITE,      ///< the same, for a record that would be lost; also tried again when the disk is full or has an error
  COMMIT,     ///< the commit of a transaction, which stays open while it is refused
};

/// \return true when a failure may be tried again on this connection. Ask before the attempt: a failed write can roll a
///         transaction back, and a later success outside of it would be wrong.
bool mayRetry(sqlite3* pDb, RetryScope scope);

/// \return true when the step may succeed later.
inline bool isTemporary(const StoreFailure& failure, RetryScope scope) {
  return failure.later() == Later::BUSY || (failure.later() == Later::WRITE && scope == RetryScope::WRITE);
}

/// Runs an attempt until its failure is no longer temporary, or the time is used up.
/// \param attempt  callable that starts from scratch each time.
/// \return what the attempt returns.
template <typename Attempt>
auto retryWhileBusy(sqlite3* pDb, const Attempt& attempt, RetryScope scope = RetryScope::STATEMENT) {
  const bool blMayRetry = mayRetry(pDb, scope);
  BusyPauses pauses;
  for (;;) {
    try {
      return attempt();
    } catch (const StoreFailure& failure) {
      if (!isTemporary(failure, scope)) {
        throw;
      }
      if (!blMayRetry) {
        RAISE(failure.code(), "{} (not tried again: a transaction is open)", failure.what());
      }
      if (!pauses.wait()) {
        RAISE(failure.code(), "{} (gave up after 10 seconds)", failure.what());
      }
    }
  }
}

/// The same for a write of records.
template <typename Attempt>
auto retryWrite(sqlite3* pDb, const Attempt& attempt) {
  return retryWhileBusy(pDb, attempt, RetryScope::WRITE);
}

}  // namespace record_store
