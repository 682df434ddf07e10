#include <cstdio>
#include <cstring>
#include <syslog.h>
#include <unistd.h>

#include "orva_platform.h"

#include "event_log/caller.h"
#include "event_log/event_file.h"
#include "event_log/journal.h"
#include "support/boundary.h"
#include "support/log.h"

namespace {

// The event that ends forked children, and the process that asked for it; see ORVALogEndChildAfter().
struct EndOfChildren {
  unsigned int uCode = 0;
  pid_t pidAsking = 0;
};
EndOfChildren endOfChildren;

constexpr int EVENT_TYPE = 1;

int priorityOf(int iLevel) {
  return iLevel == 1 ? LOG_INFO : (iLevel == 2 ? LOG_WARNING : LOG_ERR);
}

int logEvent(int iType, int iLevel, unsigned int uCode, const orva::EventArguments& arguments) {
  if (iType != EVENT_TYPE || iLevel < 1 || iLevel > 3) {
    FAIL_WITH(EINVAL);
  }
  const std::string strBy = orva::callerName();
  orva::writeSystemLog(priorityOf(iLevel), uCode, arguments,
                       orva::eventText(orva::loadLogCatalogue(), uCode, arguments, strBy));
  const int iError = orva::appendToEventFile(iLevel, uCode, arguments, strBy);
  // A child that already runs as its task's owner has no access. The event is still in the system log.
  if (iError != 0 && iError != EACCES && iError != EPERM) {
    logError("cannot append event %s to the event file: %s", orva::eventCodeText(uCode).c_str(), strerror(iError));
  }
  return 0;
}

std::string textOf(const char* szArgument) {
  return szArgument ? szArgument : "";
}

void endChildAfter(unsigned int uCode) {
  if (endOfChildren.uCode != 0 && uCode == endOfChildren.uCode && getpid() != endOfChildren.pidAsking) {
    std::fflush(nullptr);
    _exit(0);
  }
}

}  // namespace

extern "C" int ORVALogSet1(int iType, int iLevel, unsigned int uCode, const char* szArg1, const char* szArg2,
                           const char* szArg3, const char* szArg4) {
  const int iResult = orva::guarded(
      [&] { return logEvent(iType, iLevel, uCode, {textOf(szArg1), textOf(szArg2), textOf(szArg3), textOf(szArg4)}); });
  endChildAfter(uCode);
  return iResult;
}

extern "C" void ORVALogEndChildAfter(unsigned int uCode) {
  endOfChildren = {uCode, getpid()};
}
