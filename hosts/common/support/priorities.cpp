#include "priorities.h"

#include <fcntl.h>
#include <string>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "unique_fd.h"

namespace Host {

bool setNice(int iNice) {
  if (setpriority(PRIO_PROCESS, 0, iNice) != 0) {
    return false;
  }
  // Where the kernel shares the processors between sessions first, the nice value of a process counts only within its
  // session.
  const UniqueFd fd(open("/proc/self/autogroup", O_WRONLY | O_CLOEXEC));
  const std::string strNice = std::to_string(iNice);
  static_cast<void>(fd.isOpen() && write(fd.get(), strNice.data(), strNice.size()) > 0);
  return true;
}

bool setIoPriority(int iPriority) {
  constexpr int IOPRIO_WHO_PROCESS = 1;
  return syscall(SYS_ioprio_set, IOPRIO_WHO_PROCESS, 0, iPriority) == 0;
}

}  // namespace Host
