// The boundary of the library: no exception leaves it.

#pragma once

#include <exception>
#include <utility>

#include "support/log.h"

namespace Orva {

// Runs the body of an operation. An exception becomes a log line and the failure result.
template <typename Result, typename Body>
Result guarded(const char* szSource, int iLine, Result failed, Body&& body) noexcept {
  try {
    return std::forward<Body>(body)();
  } catch (const std::exception& thrown) {
    logLine(szSource, iLine, "operation given up: %s", thrown.what());
  } catch (...) {
    logLine(szSource, iLine, "operation given up: unknown exception");
  }
  return failed;
}

// The same for an operation that ends each failure with one more line, also when something was thrown.
template <typename Body, typename LastLine>
int guardedWithLastLine(const char* szSource, int iLine, Body&& body, LastLine&& lastLine) noexcept {
  const int iResult = guarded(szSource, iLine, -1, std::forward<Body>(body));
  if (-1 == iResult) {
    guarded(szSource, iLine, 0, [&] {
      lastLine();
      return 0;
    });
  }
  return iResult;
}

}  // namespace Orva

// return GUARDED([&] { ... });
#define GUARDED(...) Orva::guarded(LOG_SOURCE, __LINE__, -1, __VA_ARGS__)

// return GUARDED_WITH_LAST_LINE([&] { ... }, [&] { LOG_ERROR(...); });
#define GUARDED_WITH_LAST_LINE(...) Orva::guardedWithLastLine(LOG_SOURCE, __LINE__, __VA_ARGS__)
