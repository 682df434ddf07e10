/// \file kill_at.h
/// Kills a process at a chosen step.

#pragma once

#include <functional>

namespace HostTest {

/// Runs something in a child, and kills it with SIGKILL right before its n-th system call that changes a file.
/// \param iStep  counted from 1.
/// \return how many such calls it made; fewer than iStep when it ended by itself.
unsigned killAt(unsigned iStep, const std::function<void()>& fnWhat);

}  // namespace HostTest
