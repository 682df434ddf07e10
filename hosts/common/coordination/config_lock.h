/// \file config_lock.h
/// The right to change the configuration.

#pragma once

#include <chrono>

#include "common/support/unique_fd.h"

namespace Host {

/// While it lives nobody else changes the configuration: what was read under it still holds when it is written. Whoever
/// needs the store's write lock besides takes this one first.
class ConfigLock {
public:
  /// Waits for another change, which ends within a moment. \throw Failure when it does not.
  explicit ConfigLock(std::chrono::milliseconds limit = std::chrono::seconds(30));
  ~ConfigLock();
  ConfigLock(const ConfigLock&) = delete;
  ConfigLock& operator=(const ConfigLock&) = delete;

private:
  UniqueFd m_fd;
};

}  // namespace Host
