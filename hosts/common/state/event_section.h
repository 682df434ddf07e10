/// \file event_section.h
/// The events in the document of a server's state.
///
///     events:
///       daily:
///         enabled: true
///       nightly:
///         description: After office hours
///         at:
///           - "Mon..Fri 22:30"
///
/// An event of the catalogue has only `enabled`. Members with defaults are left out of events of one's own:
/// `description: ""`, `at: []`, `enabled: true`.

#pragma once

#include <json/value.h>
#include <map>
#include <string>
#include <vector>

#include "common/events/own_events.h"

namespace Host {

/// The events of this server: those of the catalogue whose units are installed, those that were added, and those that
/// are known from tasks only. \throw Failure
EventsByName currentEvents(const std::map<std::string, Json::Value>& mapTasks);

/// The section, in JSON and in YAML.
Json::Value eventSectionJson(const EventsByName& events);
std::string eventSectionText(const EventsByName& events);

/// Reads the section. \param vecErrors  receives faults of its structure; the rest is read.
EventsByName readEventSection(const Json::Value& jSection, std::vector<std::string>& vecErrors);

}  // namespace Host
