/// \file try_until.h
/// Polling with a time limit.

#pragma once

#include <chrono>
#include <thread>

namespace Host {

/// Tries something until it succeeds or the time is up, at least once.
/// \param pause   how long to wait before the next try.
/// \param fnTry   returns true on success.
/// \return false when the time was up.
template <typename Try>
bool tryUntil(std::chrono::milliseconds limit, std::chrono::milliseconds pause, Try fnTry) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!fnTry()) {
    if (std::chrono::steady_clock::now() > deadline) {
      return false;
    }
    std::this_thread::sleep_for(pause);
  }
  return true;
}

}  // namespace Host
