#include "follow.h"

#include <csignal>
#include <poll.h>
#include <unistd.h>

#include "common/support/failure.h"

void waitForMore() {
  constexpr int PAUSE_MILLISECONDS = 200;
  pollfd reader{STDOUT_FILENO, 0, 0};
  if (poll(&reader, 1, PAUSE_MILLISECONDS) > 0) {
    std::raise(SIGPIPE);
    throw Host::Failure("standard output was closed");
  }
}
