/// \file joint_change.h
/// Changes of the store together with the files of the configuration: both or neither.
///
/// The store has the number of its last such change, and a transaction changes the number together with the tasks. The
/// note of the files has the same number. So after a kill or a power cut, the number tells whether the change counts.

#pragma once

#include <string>

#include "common/config/config_change.h"
#include "common/store/database.h"

namespace Host {

/// Gives the change of the files and the open transaction of the store the next number. Nothing to do without files.
void announceChange(ConfigChange& files, Connection store);

/// The same for a new store that replaces the present one.
void announceChange(ConfigChange& files, Connection store, Connection newStore);

/// Replaces the files when the store has changed. \throw Failure that says how far the change is.
void finishChange(ConfigChange& files);

/// Finishes an interrupted change, or undoes it if the store did not change or is lost. Cheap when there is none. Waits
/// for a process that settles it, but not long for one that is making a change.
/// \return what was done, for the user; empty when nothing was.
/// \throw Failure when a file cannot be replaced or removed.
std::string settleInterruptedChange();

}  // namespace Host
