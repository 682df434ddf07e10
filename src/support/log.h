// Log lines: to standard output or to syslog, as the host's flags say.
//
// A source file names, once, the source that its lines carry:
//
//     namespace { constexpr const char* LOG_SOURCE = Orva::SOURCE_UTIL; }

#pragma once

#include "eorvascheduler.h"

namespace Orva {

// The names are those of the two units that administrators know from their logs, whatever the files are called.
constexpr const char* SOURCE_LIB = "eorvascheduler_lib";
constexpr const char* SOURCE_UTIL = "util";

// One line through the flags. `errno` is that of the caller, whose text a line in syslog ends with; it is left as it
// was.
void logLine(const char* szSource, int iLine, const char* szFormat, ...) noexcept __attribute__((format(printf, 3, 4)));

// The line of a failure; szText is the text of the check that did not hold.
void logFailed(const char* szSource, int iLine, const char* szText) noexcept;

// The line of a failure whose text carries values.
void logFailedWith(const char* szSource, int iLine, const char* szFormat, ...) noexcept
    __attribute__((format(printf, 3, 4)));

// One line straight to syslog, whatever the flags say: it says why nothing was started.
void logSystem(const char* szSource, int iLine, const char* szFormat, ...) noexcept
    __attribute__((format(printf, 3, 4)));

}  // namespace Orva

#define LOG_ERROR(...) Orva::logLine(LOG_SOURCE, __LINE__, __VA_ARGS__)
#define LOG_FAILED(text) Orva::logFailed(LOG_SOURCE, __LINE__, text)
#define LOG_FAILED_WITH(...) Orva::logFailedWith(LOG_SOURCE, __LINE__, __VA_ARGS__)
#define LOG_SYSTEM(...) Orva::logSystem(LOG_SOURCE, __LINE__, __VA_ARGS__)

// The arguments are evaluated only when debug lines are wanted.
#define LOG_DEBUG(...)        \
  do {                        \
    if (blDebugOutput) {      \
      LOG_ERROR(__VA_ARGS__); \
    }                         \
  } while (false)
