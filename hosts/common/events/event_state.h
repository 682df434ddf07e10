/// \file event_state.h
/// Events, the units that fire them, and how many tasks they have.

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "common/server/systemd_units.h"
#include "event_catalogue.h"

namespace Host {

struct EventState {
  Event event;
  bool blInCatalogue = true;
  std::vector<std::string> vecFiredBy;  ///< units
  UnitState state;                      ///< of the first of these units
  unsigned cTasks = 0;
  std::optional<std::int64_t> iNext = {};  ///< when a timer fires it next, in seconds since 1970; if that is known
};

/// The events of the catalogue, then those that administrators have added, then others that have tasks.
/// \throw Failure when the catalogue, the store or the service manager cannot be asked.
std::vector<EventState> eventStates();

}  // namespace Host
