// Only these tests have a platform with these functions. All other tests run the library without them.

#include "orva_platform.h"

#include "fakes/fakes.h"

using OrvaTest::fakes;

extern "C" {

void ORVARunEnded(int iStatus) {
  fakes().enter("ORVARunEnded", OrvaTest::callText("ORVARunEnded", iStatus), true, false);
}

void ORVARunWait() {
  fakes().enter("ORVARunWait", "ORVARunWait()", true, false);
}

int ORVAMailTextMax() {
  const auto answer = fakes().enter("ORVAMailTextMax", "ORVAMailTextMax()", true, false);
  return answer ? answer->iResult : 1 << 20;
}

}  // extern "C"
