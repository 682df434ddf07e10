/// \file run_identity.h
/// Which process a run record means.
///
/// The number of a process comes back, after a reboot and without one. The boot that it belongs to and the tick in
/// which it started do not: the watch of an execution writes both into the record of each run as soon as it sees it.
/// Records of other programs lack them, and so does a record in its first moment; then the clock must do, which is set
/// now and then.

#pragma once

#include <json/value.h>

#include "common/support/process.h"

namespace Host {

/// The members of a record that tell which process its number means; none when that cannot be told.
Json::Value identityOf(const ProcessStatus& status);

/// Tells whether a record has these members.
bool hasIdentity(const Json::Value& jRun);

/// Tells whether the record was made before this boot.
bool isOfOtherBoot(const Json::Value& jRun);

/// Tells whether the number that the record names is that of the process of its run; or of any run, when the record
/// does not tell more.
bool isProcessOf(const Json::Value& jRun);

/// Tells whether the process that has the number now had started when the run began, by the clock as it is set now;
/// not asked of a record that tells more.
bool hadStarted(const Json::Value& jRun);

}  // namespace Host
