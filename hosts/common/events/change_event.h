/// \file change_event.h
/// Adding, changing and removing events of one's own.

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "own_events.h"

namespace Host {

/// An event was stored.
struct EventStored {
  EventSettings settings;
  std::vector<std::string> vecWarnings;  ///< a sentence each
};

/// Adds an event and its timer.
/// \throw Failure when it exists, or cannot be added; also when it is stored, but its timer could not be made.
EventStored addEvent(const std::string& strEvent, const EventSettings& settings);

/// A change of an event; members without a value stay.
struct EventChange {
  std::optional<std::string> strDescription;
  std::optional<std::vector<std::string>> vecAt;
  std::optional<bool> blEnabled;
};

/// Changes an event that was added, and its timer. \throw Failure as above.
EventStored changeEvent(const std::string& strEvent, const EventChange& change);

/// Removes an event that was added, and its timer. \throw Failure when tasks belong to it.
void removeEvent(const std::string& strEvent);

}  // namespace Host
