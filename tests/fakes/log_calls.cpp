// Writes the lines of the library under test to the journal instead of syslog and standard output.

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

#include "fakes/fakes.h"

using OrvaTest::fakes;
using OrvaTest::Journal;

// The flags that a host of the library defines.
bool blLogToStdout = false;
bool blDebugOutput = false;

namespace {

// "%m" reads errno, so restore the caller's errno before each use of the format.
std::string format(const char* szFormat, va_list args) {
  const int iErrno = errno;
  va_list again;
  va_copy(again, args);
  const int cb = std::vsnprintf(nullptr, 0, szFormat, args);
  std::string strText(cb < 0 ? 0 : static_cast<size_t>(cb) + 1, '\0');
  errno = iErrno;
  std::vsnprintf(strText.data(), strText.size(), szFormat, again);
  va_end(again);
  if (!strText.empty()) {
    strText.pop_back();
  }
  errno = iErrno;
  return strText;
}

void recordLine(int iPriority, const char* szFormat, va_list args) {
  const int iErrno = errno;
  fakes().journal().append(Journal::Kind::SYSLOG, format(szFormat, args), iErrno, iPriority);
}

int writeText(FILE* fp, const std::string& strText) {
  if (fp == stdout) {
    fakes().journal().append(Journal::Kind::STDOUT, strText, errno);
    return static_cast<int>(strText.size());
  }
  return static_cast<int>(std::fwrite(strText.data(), 1, strText.size(), fp));
}

}  // namespace

#define WITH_ARGUMENTS(last, statement) \
  va_list args;                         \
  va_start(args, last);                 \
  statement;                            \
  va_end(args)

extern "C" {

void eorvaFake_vsyslog(int iPriority, const char* szFormat, va_list args) {
  recordLine(iPriority, szFormat, args);
}

void eorvaFake_syslog(int iPriority, const char* szFormat, ...) {
  WITH_ARGUMENTS(szFormat, recordLine(iPriority, szFormat, args));
}

void eorvaFake___vsyslog_chk(int iPriority, int, const char* szFormat, va_list args) {
  recordLine(iPriority, szFormat, args);
}

void eorvaFake___syslog_chk(int iPriority, int, const char* szFormat, ...) {
  WITH_ARGUMENTS(szFormat, recordLine(iPriority, szFormat, args));
}

int eorvaFake_vfprintf(FILE* fp, const char* szFormat, va_list args) {
  return writeText(fp, format(szFormat, args));
}

int eorvaFake_vprintf(const char* szFormat, va_list args) {
  return writeText(stdout, format(szFormat, args));
}

int eorvaFake___vfprintf_chk(FILE* fp, int, const char* szFormat, va_list args) {
  return writeText(fp, format(szFormat, args));
}

int eorvaFake___vprintf_chk(int, const char* szFormat, va_list args) {
  return writeText(stdout, format(szFormat, args));
}

int eorvaFake_fprintf(FILE* fp, const char* szFormat, ...) {
  WITH_ARGUMENTS(szFormat, const int cb = writeText(fp, format(szFormat, args)));
  return cb;
}

int eorvaFake_printf(const char* szFormat, ...) {
  WITH_ARGUMENTS(szFormat, const int cb = writeText(stdout, format(szFormat, args)));
  return cb;
}

int eorvaFake___fprintf_chk(FILE* fp, int, const char* szFormat, ...) {
  WITH_ARGUMENTS(szFormat, const int cb = writeText(fp, format(szFormat, args)));
  return cb;
}

int eorvaFake___printf_chk(int, const char* szFormat, ...) {
  WITH_ARGUMENTS(szFormat, const int cb = writeText(stdout, format(szFormat, args)));
  return cb;
}

int eorvaFake_puts(const char* szText) {
  return writeText(stdout, std::string(szText) + "\n");
}

int eorvaFake_fputs(const char* szText, FILE* fp) {
  return writeText(fp, szText);
}

int eorvaFake_putchar(int iChar) {
  writeText(stdout, std::string(1, static_cast<char>(iChar)));
  return iChar;
}

int eorvaFake_fputc(int iChar, FILE* fp) {
  writeText(fp, std::string(1, static_cast<char>(iChar)));
  return iChar;
}

int eorvaFake_putc(int iChar, FILE* fp) {
  return eorvaFake_fputc(iChar, fp);
}

size_t eorvaFake_fwrite(const void* pData, size_t cbItem, size_t cItems, FILE* fp) {
  writeText(fp, std::string(static_cast<const char*>(pData), cbItem * cItems));
  return cItems;
}

}  // extern "C"
