#include "inotify_limit.h"

#include <cerrno>
#include <sys/inotify.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

bool g_blUsedUp = false;

}  // namespace

extern "C" int inotify_init1(int iFlags) {
  if (g_blUsedUp) {
    errno = EMFILE;
    return -1;
  }
  return static_cast<int>(syscall(SYS_inotify_init1, iFlags));
}

namespace HostTest {

void useUpInotify() {
  g_blUsedUp = true;
}

}  // namespace HostTest
