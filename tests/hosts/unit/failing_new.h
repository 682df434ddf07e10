/// \file failing_new.h
/// Makes one allocation of a test fail.

#pragma once

#include <functional>

namespace HostTest {

/// Calls a function; its allocation with this number, counted from 0, throws std::bad_alloc.
/// \return false when the function made fewer allocations.
bool withFailingNew(unsigned uNumber, const std::function<void()>& fnDo);

}  // namespace HostTest
