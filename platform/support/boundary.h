/// \file boundary.h
/// The guard of every function with C linkage. No exception leaves it, a failure has a code, and a success leaves
/// `errno` unchanged.

#pragma once

#include <cerrno>
#include <new>

#include "support/last_error.h"

/// Returns -1 from an int function. Sets both `errno` and the last error, because callers use either.
#define FAIL_WITH(iCode)           \
  do {                             \
    const int iFailCode = (iCode); \
    SET_LAST_ERROR(iFailCode);     \
    errno = iFailCode;             \
    return -1;                     \
  } while (false)

namespace orva {

/// Runs the body of an interface.
/// \param body  callable without arguments that returns the interface's int result.
/// \return its result; -1 when it threw.
///
/// Callers' log lines end with the text of `errno` if it is set, so a value left by a successful call would look like a
/// failure.
template <typename Body>
int guarded(Body body) noexcept {
  const int iErrnoBefore = errno;
  const auto run = [&body]() noexcept -> int {
    try {
      return body();
    } catch (const std::bad_alloc&) {
      FAIL_WITH(ENOMEM);
    } catch (...) {
      FAIL_WITH(EIO);
    }
  };
  const int iResult = run();
  if (iResult >= 0) {
    errno = iErrnoBefore;
  }
  return iResult;
}

}  // namespace orva
