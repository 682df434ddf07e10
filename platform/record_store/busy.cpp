#include "record_store/busy.h"

#include <algorithm>
#include <random>
#include <sqlite3.h>
#include <time.h>
#include <unistd.h>

namespace record_store {
namespace {

constexpr std::int64_t NANOSECONDS = 1'000'000'000;
constexpr std::int64_t TIME_LIMIT = 10 * NANOSECONDS;
constexpr std::int64_t FIRST_PAUSE = 500'000;
constexpr std::int64_t LONGEST_PAUSE = 10'000'000;

std::int64_t now() {
  timespec time{};
  clock_gettime(CLOCK_MONOTONIC, &time);
  return std::int64_t{time.tv_sec} * NANOSECONDS + time.tv_nsec;
}

void sleepFor(std::int64_t iNanoseconds) {
  const timespec pause{static_cast<time_t>(iNanoseconds / NANOSECONDS), static_cast<long>(iNanoseconds % NANOSECONDS)};
  // A signal may shorten the pause. The clock decides the deadline, not the number of pauses.
  nanosleep(&pause, nullptr);
}

// A random time between half of the pause and the whole pause.
std::int64_t vary(std::int64_t iPause) {
  thread_local std::minstd_rand random(static_cast<unsigned>(getpid()) ^ static_cast<unsigned>(now()));
  return std::uniform_int_distribution<std::int64_t>(iPause / 2, iPause)(random);
}

}  // namespace

bool BusyPauses::wait() {
  const std::int64_t iNow = now();
  if (m_iPause == 0) {
    m_iDeadline = iNow + TIME_LIMIT;
    m_iPause = FIRST_PAUSE;
  }
  if (iNow >= m_iDeadline) {
    return false;
  }
  sleepFor(std::min(vary(m_iPause), m_iDeadline - iNow));
  m_iPause = std::min(2 * m_iPause, LONGEST_PAUSE);
  return true;
}

bool mayRetry(sqlite3* pDb, RetryScope scope) {
  return scope == RetryScope::COMMIT || sqlite3_get_autocommit(pDb) != 0;
}

}  // namespace record_store
