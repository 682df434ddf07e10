#include "standard_descriptors.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <unistd.h>

namespace Host {

void occupyStandardDescriptors() {
  for (const int fd : std::array{STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO}) {
    // Open for the direction that nobody uses. The lowest free number is the one that is wanted.
    if (fcntl(fd, F_GETFD) < 0 && open("/dev/null", fd == STDIN_FILENO ? O_WRONLY : O_RDONLY) != fd) {
      _exit(EXIT_FAILURE);
    }
  }
}

}  // namespace Host
