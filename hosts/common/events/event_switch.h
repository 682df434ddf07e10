/// \file event_switch.h
/// Enables and disables the units that fire events.

#pragma once

#include <string>
#include <vector>

#include "event_catalogue.h"

namespace Host {

/// Finds events that can be enabled and disabled: the catalogue names their unit, or they are own events with times.
/// \throw Failure for the first other name.
std::vector<Event> requireSwitchable(const std::vector<std::string>& vecNames);

/// Enables an event: its unit is enabled. \throw Failure
void enableEvent(const Event& event);

/// Disables an event: its unit is disabled. \throw Failure
void disableEvent(const Event& event);

/// The state of the unit that fires an event, if it does not fire it now: "disabled" or "masked".
/// \return empty for an enabled event, or when the state is unknown.
std::string disabledState(const std::string& strEvent);

}  // namespace Host
