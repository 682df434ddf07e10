#include "record_store/list_guard.h"

#include <cerrno>

#include "orva_platform.h"

#include "record_store/failure.h"

namespace {

ORVALISTGUARD g_pfnGuard = nullptr;
void* g_pContext = nullptr;

}  // namespace

void record_store::askBeforeList() {
  if (g_pfnGuard != nullptr && g_pfnGuard(g_pContext) < 0) {
    RAISE(ECANCELED, "the host refused the listing");
  }
}

extern "C" void ORVAStoreAskBeforeList(ORVALISTGUARD pfnGuard, void* pContext) {
  g_pfnGuard = pfnGuard;
  g_pContext = pContext;
}
