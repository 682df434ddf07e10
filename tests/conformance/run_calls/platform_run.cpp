// Only these tests have a platform with the two calls. All other tests run the library without them.

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

}  // extern "C"
