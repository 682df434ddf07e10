/// \file clean_process.h
/// The surroundings in which users' scripts run.

#pragma once

#include <vector>

#include "execution_request.h"

namespace Host {

/// Turns the calling process, a child made for one execution, into one that hands nothing on from whoever
/// started it:
///
/// - a session of its own, without a terminal; nothing that ends the starter ends it
/// - default signal dispositions, no signal blocked; umask 022; current folder /
/// - standard input and, unless it is kept, standard output on /dev/null; no other descriptor but those that are kept
/// - this environment and no more: PATH (the usual six folders), LANG=C.UTF-8, HOME=/root, USER=root,
///   LOGNAME=root, SHELL=/bin/sh, and what the request adds: EORVA_EVENT (the event, or "on_demand"),
///   EORVA_FIRED_AT (seconds since 1970), and what whoever fired it tells. For a run of another user the library
///   sets HOME, USER and LOGNAME.
///
/// \param vecKeep       descriptors that stay open here, though not in programs that are run; they get the lowest
///                      free numbers, from 3, in their order.
/// \param blKeepStdout  true: standard output stays what it is.
/// \param request       for the environment.
/// Ends the process when something cannot be done.
void becomeCleanProcess(const std::vector<int>& vecKeep, bool blKeepStdout, const ExecutionRequest& request);

/// The number of the first descriptor that was kept.
inline constexpr int FIRST_KEPT = 3;

}  // namespace Host
