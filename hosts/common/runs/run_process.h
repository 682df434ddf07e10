/// \file run_process.h
/// Tells whether a process belongs to a run.
///
/// The process of a run is a fork of a process that has the library loaded. That distinguishes it from most processes
/// that get its id later; run_identity.h finds the run. The programs of this system have the library loaded, too: so
/// each of their processes shows by its name, as in ps, whether it is a run. A run that another program started has
/// the name of that program.

#pragma once

#include <sys/types.h>

namespace Host {

/// Gives the calling process and its children a name that no run has.
void takeHostName();

/// Gives the calling process and its later children the name of a run.
void takeRunName();

/// Tells whether a process has the installed library loaded, or the one from before an upgrade. Other files with the
/// same name do not count.
bool hasLibraryLoaded(pid_t pid);

/// Tells whether the process with this id belongs to any run.
bool isRunProcess(pid_t pid);

}  // namespace Host
