// The platform's calls to a host that takes care of runs. A platform may lack them.

#pragma once

#include "orva_platform.h"

extern "C" {
__attribute__((weak)) void ORVARunEnded(int iStatus);
__attribute__((weak)) void ORVARunWait();
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

}  // namespace Orva
