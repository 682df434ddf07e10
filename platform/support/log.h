/// \file log.h
/// The platform's own log lines.

#pragma once

/// Writes one line to syslog, as "orvaplatform: TEXT", at priority error.
/// Control characters in the text become spaces, so that a user's text cannot break or forge a line. A very long text
/// is cut. `errno` is unchanged.
/// \param szFormat  format of printf().
void logError(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

/// Writes one line that is not a failure, at priority notice.
void logNotice(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
