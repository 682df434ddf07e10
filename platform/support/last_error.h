/// \file last_error.h
/// The platform's last error: what failed most recently on this thread, and where.

#pragma once

/// Records a failure, replacing the one before. Only failures are recorded: success leaves the last one in place.
/// \param iCode   an `errno` value, or a code of the platform's own from 0x1400 on.
/// \param szFile  source file; kept by address, so it must be a literal.
/// \param iLine   source line.
void setLastError(int iCode, const char* szFile, int iLine);

/// Records a failure at the place where this stands.
#define SET_LAST_ERROR(iCode) setLastError((iCode), __FILE_NAME__, __LINE__)
