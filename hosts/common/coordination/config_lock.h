/// \file config_lock.h
/// The lock for changes of the configuration.

#pragma once

#include <chrono>

#include "common/support/unique_fd.h"

namespace Host {

/// Locks the configuration against other changes for its lifetime. Taken before the store's write lock where both are
/// needed.
class ConfigLock {
public:
  /// Waits for another change. \throw Failure when the time is up.
  explicit ConfigLock(std::chrono::milliseconds limit = std::chrono::seconds(30));
  ~ConfigLock();
  ConfigLock(const ConfigLock&) = delete;
  ConfigLock& operator=(const ConfigLock&) = delete;

private:
  UniqueFd m_fd;
};

}  // namespace Host
