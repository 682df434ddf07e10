#include "event_state.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <unistd.h>

#include "common/store/records.h"
#include "common/support/paths.h"
#include "common/text/json_members.h"

namespace Host {

namespace {

/// How many tasks each event has; none without a store.
std::map<std::string, unsigned> taskCounts() {
  std::map<std::string, unsigned> mapCounts;
  if (access(DATABASE_PATH, F_OK) == 0) {
    const OpenStore session;
    for (const Json::Value& jTask : listTaskMembers(session, {"event"})) {
      ++mapCounts[textOf(jTask, "event")];
    }
  }
  return mapCounts;
}

/// The named events, and others that are known from their tasks only.
std::vector<EventState> knownEvents() {
  std::map<std::string, unsigned> mapCounts = taskCounts();
  std::vector<EventState> vecRows;
  for (Event& event : namedEvents()) {
    const unsigned cTasks = mapCounts[event.strName];
    const bool blInCatalogue = !event.blOwn;
    mapCounts.erase(event.strName);
    vecRows.push_back({std::move(event), blInCatalogue, {}, {}, cTasks});
  }
  for (const auto& [strName, cTasks] : mapCounts) {
    vecRows.push_back({{strName, {}, {}, "", false}, false, {}, {}, cTasks});
  }
  return vecRows;
}

/// Asks about the event's own unit where the catalogue names none: a timer or a path unit may start that. Only a
/// running systemd knows what starts a unit.
void askSystemd(std::vector<EventState>& vecRows) {
  const bool blTriggers = isSystemdRunning();
  std::vector<std::string> vecUnits;
  std::vector<EventState*> vecAsked;
  for (EventState& row : vecRows) {
    if (!row.event.strUnit.empty() || blTriggers) {
      vecUnits.push_back(row.event.strUnit.empty() ? eventUnit(row.event.strName) : row.event.strUnit);
      vecAsked.push_back(&row);
    }
  }
  const std::vector<UnitState> vecStates = unitStates(vecUnits);
  std::vector<std::string> vecTriggers;
  std::vector<EventState*> vecTriggered;
  for (std::size_t i = 0; i < vecAsked.size(); ++i) {
    EventState& row = *vecAsked[i];
    if (!row.event.strUnit.empty()) {
      row.vecFiredBy = {row.event.strUnit};
      row.state = vecStates[i];
    } else if (!vecStates[i].vecTriggers.empty()) {
      row.vecFiredBy = vecStates[i].vecTriggers;
      vecTriggers.push_back(row.vecFiredBy.front());
      vecTriggered.push_back(&row);
    }
  }
  const std::vector<UnitState> vecTriggerStates = unitStates(vecTriggers);
  for (std::size_t i = 0; i < vecTriggered.size(); ++i) {
    vecTriggered[i]->state = vecTriggerStates[i];
  }
}

/// Asks when the timers among the units fire next. An event can have several.
void askTimers(std::vector<EventState>& vecRows) {
  std::vector<std::string> vecTimers;
  for (const EventState& row : vecRows) {
    std::copy_if(row.vecFiredBy.begin(), row.vecFiredBy.end(), std::back_inserter(vecTimers),
                 [](const std::string& strUnit) { return strUnit.ends_with(".timer"); });
  }
  const std::map<std::string, std::int64_t> mapElapses = nextElapses(vecTimers);
  for (EventState& row : vecRows) {
    for (const std::string& strUnit : row.vecFiredBy) {
      if (const auto it = mapElapses.find(strUnit); it != mapElapses.end()) {
        row.iNext = std::min(row.iNext.value_or(it->second), it->second);
      }
    }
  }
}

}  // namespace

std::vector<EventState> eventStates() {
  std::vector<EventState> vecStates = knownEvents();
  askSystemd(vecStates);
  askTimers(vecStates);
  return vecStates;
}

}  // namespace Host
