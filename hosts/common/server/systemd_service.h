/// \file systemd_service.h
/// Units of systemd for executions. They continue when their starters end. The manager lets us make control groups in
/// them (Delegate).

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Host {

/// A unique name for a unit.
/// \param strName  the part after "eorva-".
/// \param szType   "service" or "scope".
std::string unitName(const std::string& strName, const char* szType);

/// Starts a command as a transient service, and waits until it has started. The service does not restrict scripts: no
/// sandbox, no time limit.
/// When the answer of systemd is lost, the request is repeated: a command that has ended by then starts again.
/// \param strUnit         the name of the service.
/// \param strDescription  the description of the unit.
/// \param vecCommand      absolute path and arguments. systemd asks only this process to end.
/// \param stopTime        time to end after that.
/// \param blKeepFailed    whether systemd remembers the service when it has failed.
/// \throw Failure when systemd cannot be reached or refuses. When its answers were lost, the command may have
///         started, or may start later.
void startService(const std::string& strUnit, const std::string& strDescription,
                  const std::vector<std::string>& vecCommand, std::chrono::seconds stopTime, bool blKeepFailed);

/// Makes the calling process, with all that it starts from now on, a unit of its own: a transient scope. It continues
/// when the session ends in which it was started, and a shutdown ends it in order.
/// \param strUnit         the name of the scope.
/// \param strDescription  the description of the unit.
/// \param iEndSignal      asks all its processes to end.
/// \param stopTime        time to end after that.
/// \throw Failure as above; the process then is where it was.
void becomeScope(const std::string& strUnit, const std::string& strDescription, int iEndSignal,
                 std::chrono::seconds stopTime);

}  // namespace Host
