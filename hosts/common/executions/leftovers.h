/// \file leftovers.h
/// Ends background processes of scripts.

#pragma once

#include <chrono>

namespace Host {

/// Ends all descendants of the calling process: asks them to end, waits, kills the rest. Processes that deliver mail
/// get some time; mail that is not sent by then stays in its outbox.
/// \param grace      time for the processes to end after they were asked.
/// \param killLimit  wait limit for killed processes; those that wait for a dead disk may take longer.
void endLeftovers(std::chrono::seconds grace, std::chrono::seconds killLimit);

}  // namespace Host
