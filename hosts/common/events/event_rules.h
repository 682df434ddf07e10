/// \file event_rules.h
/// The rules for events that administrators add.

#pragma once

#include <string>
#include <vector>

#include "own_events.h"

namespace Host {

/// Errors and warnings about an event; a sentence each.
struct EventFindings {
  std::vector<std::string> vecErrors;
  std::vector<std::string> vecWarnings;
};

/// Checks an event of one's own.
/// \param pBefore  its present settings, or null. Times that it has already are not checked again, so that a stored
///                 event can be changed where systemd cannot be asked.
EventFindings checkOwnEvent(const std::string& strEvent, const EventSettings& settings, const EventSettings* pBefore);

/// Checks what is decided about an event of the catalogue.
std::vector<std::string> whyNotCatalogueEvent(const std::string& strEvent, const EventSettings& settings);

}  // namespace Host
