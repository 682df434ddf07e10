/// \file event_state.h
/// Events, the units that fire them, and how many tasks they have.

#pragma once

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
};

/// The events of the catalogue, then other events that have tasks.
/// \throw Failure when the catalogue, the store or the service manager cannot be asked.
std::vector<EventState> eventStates();

}  // namespace Host
