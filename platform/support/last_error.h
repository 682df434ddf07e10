/// \file last_error.h
/// The platform's last error: the code and place of the most recent failure on this thread.

#pragma once

/// Records a failure, replacing the previous one. A success does not clear it.
/// \param iCode   an `errno` value, or a platform code from 0x1400 on.
/// \param szFile  source file; only the pointer is stored, so it must be a literal.
/// \param iLine   source line.
void setLastError(int iCode, const char* szFile, int iLine);

/// Records a failure at this place in the source.
#define SET_LAST_ERROR(iCode) setLastError((iCode), __FILE_NAME__, __LINE__)
