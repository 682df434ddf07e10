/// \file clean_process.h
/// The process environment of scripts.

#pragma once

#include <vector>

#include "execution_request.h"

namespace Host {

/// Removes from the calling process, a child for one execution, everything that it inherited from its
/// starter. It gets:
///
/// - a session of its own, without a terminal
/// - default signal dispositions, no signal blocked; umask 022; current folder /
/// - standard input and, unless it is kept, standard output on /dev/null; only the descriptors that are kept
/// - only this environment: PATH (the usual six folders), LANG=C.UTF-8, HOME=/root, USER=root,
///   LOGNAME=root, SHELL=/bin/sh, and what the request adds: EORVA_EVENT (the event, or "on_demand"),
///   EORVA_FIRED_AT (seconds since 1970), and the variables of the request. For a run of another user the library
///   sets HOME, USER and LOGNAME.
///
/// \param vecKeep       descriptors that stay open here, but not in programs that are run. They get the numbers from
///                      FIRST_KEPT on.
/// \param blKeepStdout  true: standard output stays what it is.
/// \param request       for the environment.
/// Ends the process on failure.
void becomeCleanProcess(const std::vector<int>& vecKeep, bool blKeepStdout, const ExecutionRequest& request);

/// The number of the first descriptor that was kept.
inline constexpr int FIRST_KEPT = 3;

}  // namespace Host
