/// \file log.h
/// The platform's own log lines.

#pragma once

/// Writes one line to syslog, as "orvaplatform: TEXT", at priority error.
/// Control characters in the text become spaces, so that nothing a user typed can break or forge a line; a very
/// long text is cut. `errno` is kept.
/// \param szFormat  format of printf().
void logError(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));

/// The same for what is no failure, at priority notice.
void logNotice(const char* szFormat, ...) __attribute__((format(printf, 1, 2)));
