/// \file clean_process.h
/// A process that does not depend on its caller.

#pragma once

#include <vector>

#include "execution_request.h"

namespace Host {

/// Gives the calling process, a child for one execution, and so its scripts, the defaults of a service of systemd:
///
/// - a session of its own, without a terminal; current folder /; umask 022
/// - default signal dispositions, no signal blocked
/// - standard input, output and error on /dev/null; only the descriptors that are kept
/// - a session keyring of its own; no ambient or inheritable capabilities
/// - the limits, priority and processors of a service (see service_defaults.h)
/// - only this environment: PATH (the usual six folders), LANG=C.UTF-8, HOME=/root, USER=root,
///   LOGNAME=root, SHELL=/bin/sh, and the variables of the request: EORVA_EVENT (the event, or "on_demand"),
///   EORVA_FIRED_AT (seconds since 1970), and the variables of the request. For a run of another user the library
///   sets HOME, USER and LOGNAME.
///
/// Other users cannot look into the process.
/// \param vecKeep  descriptors that stay open here, but not in programs that are run. They get the numbers from
///                 FIRST_KEPT on.
/// \param request  for the environment.
/// Ends the process on failure, after a line on the standard error that it was given.
void becomeCleanProcess(const std::vector<int>& vecKeep, const ExecutionRequest& request);

/// The number of the first descriptor that was kept.
inline constexpr int FIRST_KEPT = 3;

}  // namespace Host
