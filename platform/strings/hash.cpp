#include "strings/hash.h"

#include <memory>

#include "support/boundary.h"

namespace {

int setValue(PKLIBCSZHASH* ppHash, const char* szKey, const char* szValue) {
  if (!ppHash || !*ppHash || !szKey || !*szKey || !szValue) {
    FAIL_WITH(EINVAL);
  }
  (*ppHash)->m_mapValue.insert_or_assign(szKey, szValue);
  return 0;
}

}  // namespace

extern "C" PKLIBCSZHASH KLIBCSzHashAlloc(int cItem) {
  PKLIBCSZHASH pResult = nullptr;
  orva::guarded([&] {
    if (cItem < 0) {
      FAIL_WITH(EINVAL);
    }
    pResult = std::make_unique<KLIBCSZHASH>().release();
    return 0;
  });
  return pResult;
}

extern "C" int KLIBCSzHashSetValue(PKLIBCSZHASH* ppHash, const char* szKey, const char* szValue) {
  return orva::guarded([&] { return setValue(ppHash, szKey, szValue); });
}

extern "C" void KLIBCSzHashFree(PKLIBCSZHASH pHash) {
  delete pHash;
}
