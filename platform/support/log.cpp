#include "support/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <syslog.h>

namespace {

constexpr unsigned char FIRST_PRINTABLE = 0x20;
constexpr unsigned char DELETE_CHARACTER = 0x7f;
constexpr int MAX_LINE = 2048;

void blankControlCharacters(char* szText) {
  for (; *szText != '\0'; ++szText) {
    const auto uCharacter = static_cast<unsigned char>(*szText);
    if (uCharacter < FIRST_PRINTABLE || uCharacter == DELETE_CHARACTER) {
      *szText = ' ';
    }
  }
}

void writeLine(int iPriority, const char* szFormat, va_list arguments) {
  const int iErrno = errno;
  char szText[MAX_LINE] = "";
  std::vsnprintf(szText, sizeof(szText), szFormat, arguments);
  blankControlCharacters(szText);
  syslog(iPriority, "orvaplatform: %s", szText);
  errno = iErrno;
}

}  // namespace

void logError(const char* szFormat, ...) {
  va_list arguments;
  va_start(arguments, szFormat);
  writeLine(LOG_ERR, szFormat, arguments);
  va_end(arguments);
}

void logNotice(const char* szFormat, ...) {
  va_list arguments;
  va_start(arguments, szFormat);
  writeLine(LOG_NOTICE, szFormat, arguments);
  va_end(arguments);
}
