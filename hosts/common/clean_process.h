/// \file clean_process.h
/// The surroundings in which users' scripts run.

#pragma once

#include <string>

namespace Host {

/// Turns the calling process, a child made for one execution, into one that hands nothing on from whoever
/// started it:
///
/// - a session of its own, without a terminal; nothing that ends the starter ends it
/// - default signal dispositions, no signal blocked; umask 022; current folder /
/// - standard input and, unless it is kept, standard output on /dev/null; no other descriptor but `fdKeep`
/// - this environment and no more: PATH (the usual six folders), LANG=C.UTF-8, HOME=/root, USER=root,
///   LOGNAME=root, SHELL=/bin/sh, and EORVA_EVENT, the event or "on_demand". For a run of another user the
///   library sets HOME, USER and LOGNAME.
///
/// \param fdKeep        descriptor that stays open here, though not in programs that are run; it gets the
///                      lowest free number.
/// \param blKeepStdout  true: standard output stays what it is.
/// \param strEvent      for the environment.
/// \return the new number of `fdKeep`. Ends the process when something cannot be done.
int becomeCleanProcess(int fdKeep, bool blKeepStdout, const std::string& strEvent);

}  // namespace Host
