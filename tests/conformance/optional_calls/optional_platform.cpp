// Only these tests have a platform with these functions. All other tests run the library without them.

#include "orva_platform.h"

#include "fakes/fakes.h"

using OrvaTest::fakes;

extern "C" {

void ORVARunEnded(int iStatus) {
  fakes().enter("ORVARunEnded", OrvaTest::callText("ORVARunEnded", iStatus), true, false);
}

// The host runs the command itself when a test has set a status.
int ORVARunShell(const char* szCommand, int* pStatus) {
  const auto answer = fakes().enter("ORVARunShell", OrvaTest::callText("ORVARunShell", szCommand), true, false);
  *pStatus = answer ? answer->iResult : -1;
  return answer ? 1 : 0;
}

void ORVARunWait() {
  fakes().enter("ORVARunWait", "ORVARunWait()", true, false);
}

int ORVAMailTextMax() {
  const auto answer = fakes().enter("ORVAMailTextMax", "ORVAMailTextMax()", true, false);
  return answer ? answer->iResult : 1 << 20;
}

}  // extern "C"
