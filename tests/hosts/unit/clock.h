/// \file clock.h
/// The clock of the code under test, which is linked with this.

#pragma once

#include <chrono>
#include <ctime>

namespace HostTest {

/// Sets CLOCK_MONOTONIC forward, for this process and its later children.
void setClockForward(std::chrono::seconds time);

/// Sets CLOCK_REALTIME and time(), in the same way.
void setWallClock(std::time_t time);

}  // namespace HostTest
