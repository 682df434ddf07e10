/// \file transient_unit.h
/// Runs a command as a service of its own under systemd, so that nothing that ends its starter ends it.

#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Host {

/// Starts a command as a service that is gone when it has ended, and waits until it has been started.
/// Nothing in it restricts users' scripts: no sandbox, no time limit.
/// \param strName         what the unit's name tells, after "eorva-".
/// \param strDescription  for who looks at the unit.
/// \param vecCommand      absolute path and arguments. The service is asked to end by asking this process alone.
/// \param stopTime        how long it may take to end then.
/// \return the name of the unit.
/// \throw Failure when systemd cannot be reached or refuses.
std::string startTransientUnit(const std::string& strName, const std::string& strDescription,
                               const std::vector<std::string>& vecCommand, std::chrono::seconds stopTime);

}  // namespace Host
