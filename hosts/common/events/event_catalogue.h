/// \file event_catalogue.h
/// The known events, and the units that fire them.

#pragma once

#include <json/value.h>
#include <string>
#include <vector>

namespace Host {

class Session;

struct Event {
  std::string strName;
  Json::Value jTitle;          ///< object: the text in each language
  Json::Value jDescription;    ///< object: the text in each language
  std::string strUnit;         ///< the systemd unit that fires it; empty when none is installed
  bool blAtUnitStart = false;  ///< starting the unit fires the event
};

/// Reads the event catalogue, in its order, without entries that have no name.
/// \throw Failure when it cannot be read.
std::vector<Event> eventCatalogue();

/// Finds an event by its name; null when it is not among them.
const Event* findEvent(const std::vector<Event>& vecEvents, const std::string& strEvent);

/// Refuses an event that is most likely mistyped: no task belongs to it, and it is not in the catalogue.
/// \throw Failure when there is no such event.
void requireEvent(Session& session, const std::string& strEvent);

}  // namespace Host
