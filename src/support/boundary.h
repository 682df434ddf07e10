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

}  // namespace Orva

// return GUARDED([&] { ... });
#define GUARDED(...) Orva::guarded(LOG_SOURCE, __LINE__, -1, __VA_ARGS__)
