#include "orva_platform.h"

#include "shares/share_list.h"
#include "support/boundary.h"
#include "support/copy_out.h"

namespace {

int sharePathGet(const char* szShare, char* szPath, int cbPath) {
  if (!szShare || !szPath || cbPath <= 0) {
    FAIL_WITH(EINVAL);
  }
  int iError = 0;
  const auto path = orva::usableSharePath(szShare, iError);
  if (!path) {
    FAIL_WITH(iError);
  }
  if (!orva::copyOut(*path, szPath, cbPath)) {
    FAIL_WITH(ERANGE);
  }
  return 0;
}

int shareIsAccessible(const char* szShare) {
  int iError = EINVAL;
  if (szShare && orva::usableSharePath(szShare, iError)) {
    return 1;
  }
  SET_LAST_ERROR(iError);
  return 0;
}

}  // namespace

extern "C" int ORVASharePathGet(const char* szShare, char* szPath, int cbPath) {
  return orva::guarded([&] { return sharePathGet(szShare, szPath, cbPath); });
}

extern "C" int KLIBShareIsAccessible(const char* szShare) {
  // Callers expect only 1 or 0, so a failure counts as not accessible.
  return orva::guarded([&] { return shareIsAccessible(szShare); }) == 1 ? 1 : 0;
}
