/// \file clock.h
/// The clock of the code under test, which is linked with this.

#pragma once

#include <chrono>

namespace HostTest {

/// Sets CLOCK_MONOTONIC forward, for this process and its later children.
void setClockForward(std::chrono::seconds time);

}  // namespace HostTest
