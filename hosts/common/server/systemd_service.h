/// \file systemd_service.h
/// Runs a command as a service of its own under systemd, so that nothing that ends its starter ends it.

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Host {

/// A name for a service that no other one has.
/// \param strName  what it tells, after "eorva-".
std::string serviceName(const std::string& strName);

/// Starts a command as a service that is gone when it has ended, and waits until it has been started.
/// Nothing in it restricts users' scripts: no sandbox, no time limit.
/// When its answer is lost, systemd is asked again: a command that is over by then is started once more.
/// \param strUnit         the name of the service.
/// \param strDescription  for who looks at the unit.
/// \param vecCommand      absolute path and arguments. The service is asked to end by asking this process alone.
/// \param stopTime        how long it may take to end then.
/// \throw Failure when systemd cannot be reached or refuses. When its answers were lost, the command may have been
///         started all the same, or may be later.
void startService(const std::string& strUnit, const std::string& strDescription,
                  const std::vector<std::string>& vecCommand, std::chrono::seconds stopTime);

}  // namespace Host
