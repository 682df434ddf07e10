#include "keyring.h"

#include <cerrno>
#include <linux/keyctl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Host {

bool takeNewKeyring() {
  const long iKeyring = syscall(SYS_keyctl, KEYCTL_JOIN_SESSION_KEYRING, nullptr);
  // Where there are no keyrings, as in many containers, there is none to inherit.
  return iKeyring >= 0 || errno == ENOSYS || errno == EPERM;
}

}  // namespace Host
