/// \file event_changes.h
/// The events in a change of a server's state. The stored events change together with the tasks; systemd follows.

#pragma once

#include <json/value.h>
#include <map>
#include <string>
#include <vector>

#include "common/config/config_change.h"
#include "common/events/event_rules.h"

namespace Host {

/// The events after those of a document are applied.
/// \param blPrune   true: own events that are not in the document are removed, unless tasks belong to them.
/// \param mapTasks  the tasks after the change.
EventsByName eventsAfter(const EventsByName& before, const EventsByName& document, bool blPrune,
                         const std::map<std::string, Json::Value>& mapTasks);

/// The names of the events that differ.
std::vector<std::string> changedEvents(const EventsByName& before, const EventsByName& after);

/// Checks the events that differ.
EventFindings checkEvents(const EventsByName& before, const EventsByName& after);

/// The file of the own events with these ones as they are afterwards; no file when none of them is an own event.
FileTexts eventFilesWith(const std::vector<std::string>& vecChanged, const EventsByName& after);

/// The own events whose timers are not as the stored events say, with a sentence each.
std::map<std::string, std::string> unsettledEvents();

/// Makes the units of systemd as the events say, and logs the changes.
/// \return what could not be done, a sentence each.
std::vector<std::string> switchUnits(const std::vector<std::string>& vecChanged, const EventsByName& before,
                                     const EventsByName& after);

}  // namespace Host
