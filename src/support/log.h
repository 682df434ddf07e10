// Log lines to standard output or to syslog, depending on the host's flags.
//
// Each source file states once the source name of its lines:
//
//     namespace { constexpr const char* LOG_SOURCE = Orva::SOURCE_UTIL; }

#pragma once

#include "eorvascheduler.h"

namespace Orva {

// Administrators know these two names from their logs, so they do not depend on the names of the files.
constexpr const char* SOURCE_LIB = "eorvascheduler_lib";
constexpr const char* SOURCE_UTIL = "util";

// Writes one line to the destination in the flags. A line in syslog ends with the text of the caller's `errno`, which
// is unchanged.
void logLine(const char* szSource, int iLine, const char* szFormat, ...) noexcept __attribute__((format(printf, 3, 4)));

// Writes the line of a failure; szText is the text of the failed check.
void logFailed(const char* szSource, int iLine, const char* szText) noexcept;

// Writes the line of a failure with values in its text.
void logFailedWith(const char* szSource, int iLine, const char* szFormat, ...) noexcept
    __attribute__((format(printf, 3, 4)));

// Writes one line to syslog, whatever the flags, that tells why no run was started.
void logSystem(const char* szSource, int iLine, const char* szFormat, ...) noexcept
    __attribute__((format(printf, 3, 4)));

}  // namespace Orva

#define LOG_ERROR(...) Orva::logLine(LOG_SOURCE, __LINE__, __VA_ARGS__)
#define LOG_FAILED(text) Orva::logFailed(LOG_SOURCE, __LINE__, text)
#define LOG_FAILED_WITH(...) Orva::logFailedWith(LOG_SOURCE, __LINE__, __VA_ARGS__)
#define LOG_SYSTEM(...) Orva::logSystem(LOG_SOURCE, __LINE__, __VA_ARGS__)

// The arguments are evaluated only if debug lines are on.
#define LOG_DEBUG(...)        \
  do {                        \
    if (blDebugOutput) {      \
      LOG_ERROR(__VA_ARGS__); \
    }                         \
  } while (false)
