/// \file wait_until.h
/// Waits for something that other processes do. A test that waits in vain is ended by its time limit.

#pragma once

#include <unistd.h>

namespace HostTest {

template <typename Condition>
void waitUntil(Condition fnCondition) {
  constexpr useconds_t PAUSE_MICROSECONDS = 1000;
  while (!fnCondition()) {
    usleep(PAUSE_MICROSECONDS);
  }
}

}  // namespace HostTest
