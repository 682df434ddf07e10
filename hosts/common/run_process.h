/// \file run_process.h
/// Which processes are those of runs.
///
/// The process of a run is a fork of a process that has the library loaded, and stays one until the run has ended.
/// That tells it apart from whatever gets its number later, after a reboot too; clocks play no part in it. But the
/// programs of this system have the library loaded as well: so each process of theirs says by its name, as ps shows
/// it, whether it is a run. Runs that another program starts have the name of that program.

#pragma once

#include <sys/types.h>

namespace Host {

/// Names the calling process as one that is no run; its children are none either.
void takeHostName();

/// Names the calling process as a run, and so the children that it forks from then on.
void takeRunName();

/// Tells whether the process that has this number is that of a run, of whichever.
bool isRunProcess(pid_t pid);

}  // namespace Host
