/// \file pauses.h
/// Pauses of the code under test, which is linked with this: they are taken over.

#pragma once

#include <functional>

namespace HostTest {

/// Has something done whenever a pause is to be made; null ends that.
/// \param action  tells whether that was the pause; otherwise it is made after that.
void insteadOfPausing(std::function<bool()> action);

}  // namespace HostTest
