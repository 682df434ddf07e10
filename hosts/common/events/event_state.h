/// \file event_state.h
/// Events, what fires them here, and how many tasks they have.

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
  UnitState state;                      ///< of the first of them
  unsigned cTasks = 0;
};

/// The events of the catalogue, then those that only tasks know of.
/// \throw Failure when the catalogue, the store or the service manager cannot be asked.
std::vector<EventState> eventStates();

}  // namespace Host
