#include "follow.h"

#include <csignal>
#include <poll.h>
#include <unistd.h>

#include "common/support/failure.h"

void waitForMore(const std::vector<int>& vecFds) {
  constexpr int PAUSE_MILLISECONDS = 200;
  // Only in case that nobody tells of the end.
  constexpr int SLEEP_MILLISECONDS = 10'000;
  constexpr int TOGETHER_MILLISECONDS = 50;
  std::vector<pollfd> vecEntries{{STDOUT_FILENO, 0, 0}};
  for (const int fd : vecFds) {
    vecEntries.push_back({fd, POLLIN, 0});
  }
  if (poll(vecEntries.data(), vecEntries.size(), vecFds.empty() ? PAUSE_MILLISECONDS : SLEEP_MILLISECONDS) > 0) {
    // A script may print without pause.
    poll(vecEntries.data(), 1, TOGETHER_MILLISECONDS);
  }
  if (vecEntries.front().revents != 0) {
    std::raise(SIGPIPE);
    throw Host::Failure("standard output was closed");
  }
}
