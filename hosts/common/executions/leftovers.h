/// \file leftovers.h
/// Ends what scripts have left behind.

#pragma once

#include <chrono>

namespace Host {

/// Ends every process that stems from the calling one, and collects its children: asks, waits, and ends what has not
/// listened. Mail that is being handed over is left alone for a while; what is not sent by then waits in its outbox.
/// \param grace  how long they may take to end when they are asked to.
/// \param killLimit  how long what cannot be killed, as it waits for a dead disk, is waited for after that.
void endLeftovers(std::chrono::seconds grace, std::chrono::seconds killLimit);

}  // namespace Host
