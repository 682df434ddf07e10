#include <cerrno>

#include "orva_platform.h"

#include "support/host_function.h"

namespace {

orva::HostFunction<ORVARUNEND> g_onEnd;
orva::HostFunction<ORVARUNWAIT> g_onWait;
orva::HostFunction<ORVARUNSHELL> g_onShell;

// The library's next log line must not end with an error of the host.
template <typename Function, typename... Arguments>
void tell(const orva::HostFunction<Function>& function, Arguments... arguments) {
  if (function.isSet()) {
    const int iErrno = errno;
    function(arguments...);
    errno = iErrno;
  }
}

}  // namespace

extern "C" void ORVARunEnded(int iStatus) {
  tell(g_onEnd, iStatus);
}

extern "C" void ORVARunWait() {
  tell(g_onWait);
}

extern "C" int ORVARunShell(const char* szCommand, int* pStatus) {
  if (!g_onShell.isSet()) {
    return 0;
  }
  *pStatus = g_onShell(szCommand);
  return 1;
}

extern "C" void ORVARunOnEnd(ORVARUNEND pfnEnd, void* pContext) {
  g_onEnd.set(pfnEnd, pContext);
}

extern "C" void ORVARunOnWait(ORVARUNWAIT pfnWait, void* pContext) {
  g_onWait.set(pfnWait, pContext);
}

extern "C" void ORVARunOnShell(ORVARUNSHELL pfnShell, void* pContext) {
  g_onShell.set(pfnShell, pContext);
}
