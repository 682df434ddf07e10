#include "support/log.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <syslog.h>
#include <unistd.h>

namespace {

struct FreeText {
  void operator()(char* szText) const { std::free(szText); }
};
using Text = std::unique_ptr<char, FreeText>;

// Throws no exceptions, because lines are also logged when memory has run out; then a line may be dropped.
Text format(const char* szFormat, va_list args) {
  char* szText = nullptr;
  return Text(vasprintf(&szText, szFormat, args) < 0 ? nullptr : szText);
}

unsigned int pid() {
  return static_cast<unsigned int>(getpid());
}

}  // namespace

namespace Orva {

void logLine(const char* szSource, int iLine, const char* szFormat, ...) noexcept {
  const int iErrno = errno;
  va_list args;
  va_start(args, szFormat);
  const Text pText = format(szFormat, args);
  va_end(args);
  if (!pText) {
    return;
  }
  if (blLogToStdout) {
    std::printf("(%u) %s:%d %s\n", pid(), szSource, iLine, pText.get());
    std::fflush(stdout);
  } else if (0 == iErrno) {
    syslog(LOG_ERR, "%s:%d (%u)%s", szSource, iLine, pid(), pText.get());
  } else {
    syslog(LOG_ERR, "%s:%d (%u)%s(%s)", szSource, iLine, pid(), pText.get(), std::strerror(iErrno));
  }
  errno = iErrno;
}

void logFailed(const char* szSource, int iLine, const char* szText) noexcept {
  const int iErrno = errno;
  const char* szReason = std::strerror(iErrno);
  errno = iErrno;
  // The inner newline belongs to the message.
  logLine(szSource, iLine, "(%s:%d)Failed [%s](%s)\n", szSource, iLine, szText, szReason);
}

void logFailedWith(const char* szSource, int iLine, const char* szFormat, ...) noexcept {
  const int iErrno = errno;
  va_list args;
  va_start(args, szFormat);
  const Text pText = format(szFormat, args);
  va_end(args);
  errno = iErrno;
  logFailed(szSource, iLine, pText ? pText.get() : szFormat);
}

void logSystem(const char* szSource, int iLine, const char* szFormat, ...) noexcept {
  const int iErrno = errno;
  va_list args;
  va_start(args, szFormat);
  const Text pText = format(szFormat, args);
  va_end(args);
  if (pText) {
    syslog(LOG_ERR, "%s:%d %s", szSource, iLine, pText.get());
  }
  errno = iErrno;
}

}  // namespace Orva
