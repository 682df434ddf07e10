/// \file boundary.h
/// What every function with C linkage goes through: nothing is thrown out of it, its failure has a code, and a
/// success leaves `errno` as it was.

#pragma once

#include <cerrno>
#include <new>

#include "support/last_error.h"

/// Leaves an int function with -1. Callers ask for the reason in two ways, so both get the code.
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
/// Log lines of the callers end with the text of `errno` when it is set: a stray value from a successful call
/// would show up there as a failure.
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
