/// \file systemd_units.h
/// What the service manager knows about units, and how it is told to start with them.

#pragma once

#include <string>
#include <vector>

namespace Host {

struct UnitState {
  bool blKnown = true;                   ///< false where systemd is not installed
  std::string strInstalled;              ///< "enabled", "disabled", "static"...; empty when there is no such unit
  std::string strActive;                 ///< "active", "inactive", "failed"...; empty when systemd does not run
  std::vector<std::string> vecTriggers;  ///< units that start this one: timers, paths, sockets
};

/// Tells whether systemd manages this system, as opposed to a container or another root folder.
bool isSystemdRunning();

/// Tells whether systemd is shutting the system down.
bool isSystemStopping();

/// Asks for the states of units, all in one call of systemctl where systemd runs. Nothing is known about any where
/// systemd is not installed.
/// \return one entry a unit, in the same order.
/// \throw Failure when systemctl cannot be run.
std::vector<UnitState> unitStates(const std::vector<std::string>& vecUnits);

/// Lets a unit start with the system, and, when that is wanted, starts it now.
/// \throw Failure with what systemctl said.
void enableUnit(const std::string& strUnit, bool blNow);

/// Takes that back, and stops the unit.
/// \throw Failure with what systemctl said.
void disableUnit(const std::string& strUnit);

/// Any text as a part of a unit's name, as systemd-escape gives it.
std::string escapeUnitName(const std::string& strName);

/// The unit that fires an event whenever it is started.
std::string eventUnit(const std::string& strEvent);

}  // namespace Host
