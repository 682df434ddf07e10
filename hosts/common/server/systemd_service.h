/// \file systemd_service.h
/// Runs a command as a systemd service, which continues when its starter ends.

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Host {

/// A unique name for a service.
/// \param strName  the part after "eorva-".
std::string serviceName(const std::string& strName);

/// Starts a command as a transient service, and waits until it has started. The service does not restrict scripts: no
/// sandbox, no time limit.
/// When the answer of systemd is lost, the request is repeated: a command that has ended by then starts again.
/// \param strUnit         the name of the service.
/// \param strDescription  the description of the unit.
/// \param vecCommand      absolute path and arguments. systemd asks only this process to end.
/// \param stopTime        time to end after that.
/// \throw Failure when systemd cannot be reached or refuses. When its answers were lost, the command may have
///         started, or may start later.
void startService(const std::string& strUnit, const std::string& strDescription,
                  const std::vector<std::string>& vecCommand, std::chrono::seconds stopTime);

}  // namespace Host
