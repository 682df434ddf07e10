#include "record_store/write_guard.h"

#include "orva_platform.h"

#include "support/host_function.h"

namespace {

orva::HostFunction<ORVAWRITEGUARD> g_guard;
bool g_blInGuard = false;

class InGuard {
public:
  InGuard() { g_blInGuard = true; }
  ~InGuard() { g_blInGuard = false; }
  InGuard(const InGuard&) = delete;
  InGuard& operator=(const InGuard&) = delete;
};

}  // namespace

// A record that is no object is refused later; the host need not handle it.
record_store::GuardedRecord::GuardedRecord(OrvaJsonDbApi* pStore, const Json::Value* pFilter,
                                           const Json::Value& jCaller)
    : m_jCaller(jCaller) {
  if (g_guard.isSet() && !g_blInGuard && jCaller.isObject()) {
    const InGuard inGuard;
    m_jCopy = jCaller;
    g_guard(pStore, pFilter, &m_jCopy);
  }
}

extern "C" void ORVAStoreOnWrite(ORVAWRITEGUARD pfnGuard, void* pContext) {
  g_guard.set(pfnGuard, pContext);
}
