/// \file own_events.h
/// The events that administrators have added, as they are stored: in one file, from which the timers are made.
///
///     {
///       "nightly": {
///         "at": ["Mon..Fri 22:30"],
///         "description": "After office hours",
///         "enabled": true
///       }
///     }

#pragma once

#include <map>
#include <string>
#include <vector>

namespace Host {

/// The settings of an event that an administrator added.
struct EventSettings {
  std::string strDescription;
  std::vector<std::string> vecAt;  ///< calendar expressions of systemd
  bool blEnabled = true;           ///< it is fired at these times

  bool operator==(const EventSettings&) const = default;
};

using EventsByName = std::map<std::string, EventSettings>;

/// Reads the file; without one there are no events.
/// \throw Failure that names the file when it cannot be read, or has what eorva would not write.
EventsByName readOwnEvents();

/// The same from a text. \throw Failure with what is wrong.
EventsByName ownEventsFrom(const std::string& strText);

/// The text of the file.
std::string ownEventsText(const EventsByName& events);

}  // namespace Host
