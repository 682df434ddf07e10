#include "record_store/list_guard.h"

#include <cerrno>

#include "orva_platform.h"

#include "record_store/failure.h"
#include "support/host_function.h"

namespace {

orva::HostFunction<ORVALISTGUARD> g_guard;
orva::HostFunction<ORVALISTED> g_listed;

}  // namespace

void record_store::askBeforeList() {
  if (g_guard.isSet() && g_guard() < 0) {
    RAISE(ECANCELED, "the host refused the listing");
  }
}

void record_store::tellListed(OrvaJsonDbApi* pStore, Json::Value& jRecords) {
  if (g_listed.isSet()) {
    g_listed(pStore, &jRecords);
  }
}

extern "C" void ORVAStoreAskBeforeList(ORVALISTGUARD pfnGuard, void* pContext) {
  g_guard.set(pfnGuard, pContext);
}

extern "C" void ORVAStoreOnListed(ORVALISTED pfnListed, void* pContext) {
  g_listed.set(pfnListed, pContext);
}
