#include "config_lock.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <sys/file.h>

#include "common/support/paths.h"
#include "common/support/try_until.h"
#include "runtime_folder.h"

namespace Host {

namespace {

constexpr std::chrono::milliseconds LOCK_PAUSE{5};

UniqueFd openLockFile() {
  makeRuntimeFolder();
  return UniqueFd(open(CONFIG_LOCK_PATH, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600));
}

}  // namespace

ConfigLock::ConfigLock(std::chrono::milliseconds limit) : m_fd(openLockFile()) {
  const bool blLocked = tryUntil(limit, LOCK_PAUSE, [&] {
    const bool blDone = flock(m_fd.get(), LOCK_EX | LOCK_NB) == 0;
    if (!blDone && errno != EWOULDBLOCK && errno != EINTR) {
      throw Failure(fmt::format("cannot lock {}: {}", CONFIG_LOCK_PATH, std::strerror(errno)));
    }
    return blDone;
  });
  if (!blLocked) {
    throw ConfigIsLocked(fmt::format("the configuration is being changed by another command; gave up after {} s",
                                     std::chrono::duration_cast<std::chrono::seconds>(limit).count()));
  }
}

ConfigLock::~ConfigLock() {
  // A child that was started meanwhile may share the open file.
  flock(m_fd.get(), LOCK_UN);
}

}  // namespace Host
