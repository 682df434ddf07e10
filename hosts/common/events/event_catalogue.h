/// \file event_catalogue.h
/// The events of the catalogue and of the administrators, and the units that fire them.

#pragma once

#include <json/value.h>
#include <set>
#include <string>
#include <vector>

namespace Host {

class Session;

struct Event {
  std::string strName;
  Json::Value jTitle;                   ///< object: the text in each language
  Json::Value jDescription;             ///< object: the text in each language
  std::string strUnit;                  ///< the systemd unit that fires it; empty when none is installed
  bool blAtUnitStart = false;           ///< starting the unit fires the event
  bool blOwn = false;                   ///< an administrator has added it
  std::vector<std::string> vecAt = {};  ///< when that unit fires it, for an own event: calendar expressions
};

/// Reads the event catalogue, in its order, without entries that have no name.
/// \throw Failure when it cannot be read.
std::vector<Event> eventCatalogue();

/// The names in the catalogue. \throw Failure as above.
std::set<std::string> catalogueNames();

/// The catalogue, then the events that administrators have added. \throw Failure as above.
std::vector<Event> namedEvents();

/// Finds an event by its name; null when it is not among them.
const Event* findEvent(const std::vector<Event>& vecEvents, const std::string& strEvent);

/// Refuses an event that is most likely mistyped: no task belongs to it, and it is not among the named events.
/// \throw Failure when there is no such event.
void requireEvent(Session& session, const std::string& strEvent);

}  // namespace Host
