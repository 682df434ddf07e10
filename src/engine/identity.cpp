#include "engine/identity.h"

#include <cerrno>
#include <cstdlib>
#include <grp.h>
#include <unistd.h>

#include "support/check.h"
#include "support/user.h"

namespace {

constexpr const char* LOG_SOURCE = Orva::SOURCE_LIB;

constexpr uid_t UID_ROOT = 0;

int assumeUser(const ORVAUSER* pUser) {
  FAIL_IF(0 > seteuid(UID_ROOT));
  FAIL_IF(0 > setgid(pUser->pw_gid));
  FAIL_IF(0 > initgroups(pUser->szName, pUser->pw_gid));
  FAIL_IF(0 > setuid(pUser->pw_uid));
  return 0;
}

// If the switch could be undone, the script could become root.
int checkSwitchIsFinal(const ORVAUSER* pUser, uid_t uidBefore, gid_t gidBefore) {
  const int iErrno = errno;
  FAIL_IF(getuid() != pUser->pw_uid || geteuid() != pUser->pw_uid);
  FAIL_IF(getgid() != pUser->pw_gid || getegid() != pUser->pw_gid);
  if (UID_ROOT == pUser->pw_uid) {
    return 0;
  }
  FAIL_IF(gidBefore != pUser->pw_gid && (-1 != setgid(gidBefore) || -1 != setegid(gidBefore)));
  FAIL_IF(-1 != setuid(uidBefore) || -1 != seteuid(uidBefore));
  FAIL_IF(-1 != setuid(UID_ROOT) || -1 != seteuid(UID_ROOT));
  // These failures are expected, so later log lines must not show their errno.
  errno = iErrno;
  return 0;
}

// If the home is unknown, unset HOME instead of keeping root's.
int setUserEnvironment(const ORVAUSER* pUser) {
  FAIL_IF_AS(0 != (pUser->szHome ? setenv("HOME", pUser->szHome, 1) : unsetenv("HOME")),
             "0 != setenv(\"HOME\", pUser->szHome, 1)");
  FAIL_IF(0 != setenv("USER", pUser->szName, 1));
  FAIL_IF(0 != setenv("LOGNAME", pUser->szName, 1));
  return 0;
}

int becomeUser(uid_t uid) {
  const uid_t uidBefore = getuid();
  const gid_t gidBefore = getgid();
  const Orva::User pUser = Orva::findUser(uid);
  if (!pUser) {
    LOG_ERROR("ORVAUserGetByUID failed, uid=%u", uid);
    errorNotify();
    return -1;
  }
  if (0 > assumeUser(pUser.get())) {
    return -1;
  }
  return 0 > checkSwitchIsFinal(pUser.get(), uidBefore, gidBefore) ? -1 : setUserEnvironment(pUser.get());
}

}  // namespace

int changeUserCtx(uid_t uidOwner) {
  if (getuid() == uidOwner) {
    return 0;
  }
  const int iResult = becomeUser(uidOwner);
  if (0 > iResult) {
    LOG_ERROR("ChangeUserCtx failed, current uid=%u, target euid=%u", getuid(), uidOwner);
  }
  return iResult;
}
