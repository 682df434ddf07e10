/// \file config_lock.h
/// The lock for changes of the configuration.

#pragma once

#include <chrono>

#include "common/support/failure.h"
#include "common/support/unique_fd.h"

namespace Host {

/// Another process holds the lock.
class ConfigIsLocked : public Failure {
public:
  using Failure::Failure;
};

/// Locks the configuration against other changes for its lifetime. Taken before the store's write lock where both are
/// needed.
class ConfigLock {
public:
  /// Waits for another change. \throw ConfigIsLocked when the time is up, Failure when it cannot be locked.
  explicit ConfigLock(std::chrono::milliseconds limit = std::chrono::seconds(30));
  ~ConfigLock();
  ConfigLock(const ConfigLock&) = delete;
  ConfigLock& operator=(const ConfigLock&) = delete;

private:
  UniqueFd m_fd;
};

}  // namespace Host
