/// \file event_switch.h
/// Switching on and off what fires an event.

#pragma once

#include <string>
#include <vector>

#include "event_catalogue.h"

namespace Host {

/// Finds the events that can be switched: those of the catalogue that name a unit.
/// \throw Failure when one of them cannot, with the unit that would fire it.
std::vector<Event> requireSwitchable(const std::vector<std::string>& vecNames);

/// Lets the unit of an event fire it, from now on. \throw Failure
void enableEvent(const Event& event);

/// Stops the unit of an event from firing it. \throw Failure
void disableEvent(const Event& event);

/// How what fires an event of the catalogue is switched off: "disabled" or "masked".
/// \return empty when it is not, or when that is not known.
std::string disabledState(const std::string& strEvent);

}  // namespace Host
