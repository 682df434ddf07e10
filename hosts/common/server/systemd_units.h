/// \file systemd_units.h
/// The states of systemd units, from systemctl. Services of ours are started over the bus (systemd_service.h), since
/// that waits for the job and can be repeated.

#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace Host {

struct UnitState {
  bool blKnown = true;                   ///< false where systemd is not installed
  std::string strInstalled;              ///< "enabled", "disabled", "static"...; empty when there is no such unit
  std::string strActive;                 ///< "active", "inactive", "failed"...; empty when systemd does not run
  std::vector<std::string> vecTriggers;  ///< units that start this one: timers, paths, sockets
};

/// Tells whether systemd manages this system. It does not in many containers.
bool isSystemdRunning();

/// Tells whether systemd is shutting the system down.
bool isSystemStopping();

/// Asks for the states of units, all in one call of systemctl where systemd runs. Nothing is known about any where
/// systemd is not installed.
/// \return one entry a unit, in the same order.
/// \throw Failure when systemctl cannot be run.
std::vector<UnitState> unitStates(const std::vector<std::string>& vecUnits);

/// Enables a unit, and starts it if asked to.
/// \throw Failure with what systemctl said.
void enableUnit(const std::string& strUnit, bool blNow);

/// Disables a unit and stops it.
/// \throw Failure with what systemctl said.
void disableUnit(const std::string& strUnit);

/// Has systemd read the files of units again, where it runs.
/// \throw Failure with what systemctl said.
void reloadUnits();

/// Stops a timer if it runs.
void stopTimer(const std::string& strTimer);

/// Enables a timer that does not run, and starts it where systemd runs. Times before this moment do not count as
/// missed.
/// \throw Failure with what systemctl said.
void startTimerAnew(const std::string& strTimer);

/// Disables a timer, stops it, and has systemd forget when it last elapsed.
/// \throw Failure with what systemctl said.
void endTimer(const std::string& strTimer);

/// When timers will elapse, in seconds since 1970. A timer that will not, or is not known to, is left out.
std::map<std::string, std::int64_t> nextElapses(const std::vector<std::string>& vecTimers);

/// Escapes a text for the name of a unit, as systemd-escape does.
std::string escapeUnitName(const std::string& strName);

/// The text that was escaped.
std::string unescapeUnitName(const std::string& strName);

/// The template unit that fires an event when it starts.
std::string eventUnit(const std::string& strEvent);

/// The timer that starts this unit.
std::string eventTimer(const std::string& strEvent);

}  // namespace Host
