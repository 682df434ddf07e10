/// \file run_identity.h
/// Tells which process belongs to a run record.
///
/// Process ids are reused. The id of the boot and the tick in which a process started identify it. An execution writes
/// both into each run record that it creates. The records of other programs lack them; for these the start times are
/// compared, which is less certain, since the clock can be set.

#pragma once

#include <json/value.h>

#include "common/support/process.h"

namespace Host {

/// The members of a record that identify its process; none when the boot is unknown.
Json::Value identityOf(const ProcessStatus& status);

/// Tells whether a record has these members.
bool hasIdentity(const Json::Value& jRun);

/// Tells whether the record was made before this boot.
bool isOfOtherBoot(const Json::Value& jRun);

/// Tells whether the process id of the record still belongs to the process of its run. A zombie belongs to it only
/// when another program made the record, for this program may be about to close it.
bool isProcessOf(const Json::Value& jRun);

/// Tells whether an open run still has its process, or an execution that will close it.
bool isRunAlive(const Json::Value& jRun);

}  // namespace Host
