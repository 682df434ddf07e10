/// \file run_process.h
/// Which processes are those of runs.
///
/// The process of a run is a fork of a process that has the library loaded, and stays one until the run has ended.
/// That tells it apart from most of what gets its number later; run_identity.h tells which run it is. But the
/// programs of this system have the library loaded as well: so each process of theirs says by its name, as ps shows
/// it, whether it is a run. Runs that another program starts have the name of that program.

#pragma once

#include <sys/types.h>

namespace Host {

/// Names the calling process as one that is no run; its children are none either.
void takeHostName();

/// Names the calling process as a run, and so the children that it forks from then on.
void takeRunName();

/// Tells whether a process has the installed library loaded, as it is or as it was before an upgrade. A file that
/// merely bears its name is not it.
bool hasLibraryLoaded(pid_t pid);

/// Tells whether the process that has this number is that of a run, of whichever.
bool isRunProcess(pid_t pid);

}  // namespace Host
