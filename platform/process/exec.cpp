#include <cstring>
#include <initializer_list>
#include <string>
#include <vector>

#include "orva_platform.h"

#include "process/run.h"
#include "support/boundary.h"
#include "support/log.h"

namespace {

int execute(const char* szProgram, std::initializer_list<const char*> arguments) {
  if (!szProgram || szProgram[0] != '/') {
    FAIL_WITH(EINVAL);
  }
  std::vector<std::string> vecArgument{szProgram};
  for (const char* const szArgument : arguments) {
    if (!szArgument) {
      break;
    }
    vecArgument.emplace_back(szArgument);
  }
  const int iResult = orva::runProgram(vecArgument);
  if (iResult < 0) {
    const int iCode = errno;
    logError("cannot run %s: %s", szProgram,
             iCode == ETIMEDOUT ? "it took too long and was stopped"
                                : (iCode == EINTR ? "it was killed by a signal" : strerror(iCode)));
    FAIL_WITH(iCode);
  }
  return iResult;
}

}  // namespace

extern "C" int KLIBCExec(const char* szProgram, const char* szArg1, const char* szArg2, const char* szArg3,
                         const char* szArg4) {
  return orva::guarded([&] { return execute(szProgram, {szArg1, szArg2, szArg3, szArg4}); });
}
