// Functions of the platform that the library can do without.

#pragma once

#include <cstdlib>
#include <limits>
#include <string>
#include <sys/types.h>

#include "orva_platform.h"

extern "C" {
__attribute__((weak)) void ORVARunEnded(int iStatus);
__attribute__((weak)) void ORVARunWait();
__attribute__((weak)) int ORVARunShell(const char* szCommand, int* pStatus);
__attribute__((weak)) int ORVAMailTextMax();
}

namespace Orva {

constexpr int STATUS_NOT_STARTED = -1;

inline void tellRunEnded(int iStatus) {
  if (ORVARunEnded) {
    ORVARunEnded(iStatus);
  }
}

inline void tellRunWait() {
  if (ORVARunWait) {
    ORVARunWait();
  }
}

inline int runShell(const std::string& strCommand) {
  int iStatus = -1;
  return ORVARunShell && 0 != ORVARunShell(strCommand.c_str(), &iStatus) ? iStatus : system(strCommand.c_str());
}

// How much of an output a mail needs: one byte more than it can take, so that the platform sees that it has to cut.
inline off_t mailOutputMax() {
  return ORVAMailTextMax ? off_t{ORVAMailTextMax()} + 1 : std::numeric_limits<off_t>::max();
}

}  // namespace Orva
