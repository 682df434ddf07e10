/// \file zombies.h
/// Removes zombies below the process of a run.
///
/// This process is the subreaper of its script, but the library only waits for the script itself. A long script that
/// leaves a process behind every second would use up all process ids.

#pragma once

#include "common/support/process.h"

namespace Host {

/// Makes the calling process of a run collect a zombie when it is asked to.
void reapOnRequest();

/// Asks the process of a run to collect its zombies, when there are many.
void tidyOrphans(const Process& process, const ProcessTable& table);

}  // namespace Host
