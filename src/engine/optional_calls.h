// Functions of the platform that the library can do without.

#pragma once

#include <limits>
#include <sys/types.h>

#include "orva_platform.h"

extern "C" {
__attribute__((weak)) void ORVARunEnded(int iStatus);
__attribute__((weak)) void ORVARunWait();
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

// How much of an output a mail needs: one byte more than it can take, so that the platform sees that it has to cut.
inline off_t mailOutputMax() {
  return ORVAMailTextMax ? off_t{ORVAMailTextMax()} + 1 : std::numeric_limits<off_t>::max();
}

}  // namespace Orva
