#include "change_event.h"

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>
#include <unistd.h>

#include "common/config/config_change.h"
#include "common/server/log_event.h"
#include "common/store/records.h"
#include "common/support/deferred_signals.h"
#include "common/support/failure.h"
#include "common/support/paths.h"
#include "common/text/suggestion.h"
#include "event_catalogue.h"
#include "event_rules.h"
#include "event_timer.h"

namespace Host {

namespace {

bool isInCatalogue(const std::string& strEvent) {
  return catalogueNames().count(strEvent) > 0;
}

/// The tasks that belong to an event; none without a store.
std::vector<std::string> tasksOf(const std::string& strEvent) {
  if (access(DATABASE_PATH, F_OK) != 0) {
    return {};
  }
  const OpenStore session;
  return taskNames(session, strEvent);
}

/// Finds an event that was added. \throw Failure when there is none.
EventSettings& requireOwn(EventsByName& events, const std::string& strEvent) {
  if (const auto it = events.find(strEvent); it != events.end()) {
    return it->second;
  }
  if (isInCatalogue(strEvent)) {
    throw Failure(
        fmt::format("the event \"{}\" is an installed event, which can only be enabled and disabled", strEvent),
        {Hint::SWITCH_EVENT, {strEvent}});
  }
  if (!tasksOf(strEvent).empty()) {
    throw Failure(fmt::format("the event \"{}\" is known from its tasks only", strEvent),
                  {Hint::ADD_EVENT, {strEvent}});
  }
  std::vector<std::string> vecNames;
  std::transform(events.begin(), events.end(), std::back_inserter(vecNames), [](const auto& own) { return own.first; });
  throw Failure(fmt::format("there is no event \"{}\"{}", strEvent, didYouMean(strEvent, vecNames)));
}

/// \return the warnings. \throw Failure
std::vector<std::string> requireSound(const std::string& strEvent, const EventSettings& settings,
                                      const EventSettings* pBefore, const char* szDone) {
  EventFindings findings = checkOwnEvent(strEvent, settings, pBefore);
  if (!findings.vecErrors.empty()) {
    throw Failure(
        fmt::format("the event \"{}\" is not {}:\n  {}", strEvent, szDone, fmt::join(findings.vecErrors, "\n  ")));
  }
  return std::move(findings.vecWarnings);
}

/// Writes the events, then makes the timer of one as they say.
void store(const ConfigLock& lock, const EventsByName& events, const std::string& strEvent, const char* szDone) {
  const DeferredSignals deferred;
  ConfigChange(lock, {{OWN_EVENTS_PATH, ownEventsText(events)}}).finish();
  if (const std::vector<std::string> vecFailed = settleTimer(lock, strEvent).vecFailed; !vecFailed.empty()) {
    throw Failure(
        fmt::format("the event \"{}\" is {}, but its timer is not: {}", strEvent, szDone, fmt::join(vecFailed, "; ")),
        {Hint::REPAIR});
  }
}

}  // namespace

EventStored addEvent(const std::string& strEvent, const EventSettings& settings) {
  const ConfigLock lock;
  EventsByName events = readOwnEvents();
  if (isInCatalogue(strEvent)) {
    throw Failure(fmt::format("the event \"{}\" exists already: it is an installed event", strEvent),
                  {Hint::SWITCH_EVENT, {strEvent}});
  }
  if (events.count(strEvent) > 0) {
    throw Failure(fmt::format("the event \"{}\" exists already", strEvent), {Hint::EDIT_EVENT, {strEvent}});
  }
  EventStored stored{settings, requireSound(strEvent, settings, nullptr, "added")};
  events[strEvent] = settings;
  store(lock, events, strEvent, "added");
  logEvent(LogEvent::EVENT_ADDED, strEvent);
  return stored;
}

EventStored changeEvent(const std::string& strEvent, const EventChange& change) {
  const ConfigLock lock;
  EventsByName events = readOwnEvents();
  EventSettings& settings = requireOwn(events, strEvent);
  const EventSettings before = settings;
  settings.strDescription = change.strDescription.value_or(before.strDescription);
  settings.vecAt = change.vecAt.value_or(before.vecAt);
  settings.blEnabled = change.blEnabled.value_or(before.blEnabled);
  EventStored stored{settings, requireSound(strEvent, settings, &before, "changed")};
  store(lock, events, strEvent, "changed");
  if (settings.vecAt != before.vecAt || settings.strDescription != before.strDescription) {
    logEvent(LogEvent::EVENT_CHANGED, strEvent);
  }
  return stored;
}

void removeEvent(const std::string& strEvent) {
  const ConfigLock lock;
  EventsByName events = readOwnEvents();
  if (const std::vector<std::string> vecTasks = tasksOf(strEvent); !vecTasks.empty() && !isInCatalogue(strEvent)) {
    throw Failure(fmt::format("the event \"{}\" is not removed: it has tasks: {}", strEvent, fmt::join(vecTasks, ", ")),
                  {Hint::MOVE_TASKS});
  }
  requireOwn(events, strEvent);
  events.erase(strEvent);
  store(lock, events, strEvent, "removed");
  logEvent(LogEvent::EVENT_REMOVED, strEvent);
}

}  // namespace Host
