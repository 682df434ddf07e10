/// \file zombies.h
/// Keeps processes that have ended from piling up below the process of a run.
///
/// It is the parent of whatever loses its own below it, but waits for its script alone: a script that runs for days
/// and leaves a process behind every second would use up all process ids.

#pragma once

#include "common/support/process.h"

namespace Host {

/// Makes the calling process, that of a run, collect an ended child when it is asked to.
void reapOnRequest();

/// Asks the process of a run to collect its ended children, when there are many.
void tidyOrphans(const Process& process, const ProcessTable& table);

}  // namespace Host
