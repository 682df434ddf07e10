#include "event_switch.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

#include "change_event.h"
#include "common/server/log_event.h"
#include "common/server/systemd_units.h"
#include "common/support/failure.h"
#include "common/text/suggestion.h"

namespace Host {

namespace {

Event requireOne(const std::vector<Event>& vecEvents, const std::string& strEvent) {
  const Event* const pEvent = findEvent(vecEvents, strEvent);
  if (pEvent == nullptr) {
    std::vector<std::string> vecNames;
    std::transform(vecEvents.begin(), vecEvents.end(), std::back_inserter(vecNames),
                   [](const Event& event) { return event.strName; });
    throw Failure(
        fmt::format("nothing is known that fires an event \"{}\"{}", strEvent, didYouMean(strEvent, vecNames)),
        {Hint::ADD_EVENT_AT, {strEvent}});
  }
  if (pEvent->blOwn && pEvent->strUnit.empty()) {
    throw Failure(fmt::format("the event \"{}\" has no times at which it could be fired", strEvent),
                  {Hint::SET_TIMES, {strEvent}});
  }
  if (pEvent->strUnit.empty()) {
    throw Failure(fmt::format("no installed unit fires the event \"{}\"", strEvent));
  }
  return *pEvent;
}

}  // namespace

std::vector<Event> requireSwitchable(const std::vector<std::string>& vecNames) {
  const std::vector<Event> vecNamed = namedEvents();
  std::vector<Event> vecEvents;
  std::transform(vecNames.begin(), vecNames.end(), std::back_inserter(vecEvents),
                 [&](const std::string& strEvent) { return requireOne(vecNamed, strEvent); });
  return vecEvents;
}

void enableEvent(const Event& event) {
  if (event.blOwn) {
    changeEvent(event.strName, {{}, {}, true});
  } else {
    enableUnit(event.strUnit, !event.blAtUnitStart);
  }
  logEvent(LogEvent::EVENT_ENABLED, event.strName);
}

void disableEvent(const Event& event) {
  if (event.blOwn) {
    changeEvent(event.strName, {{}, {}, false});
  } else {
    disableUnit(event.strUnit);
  }
  logEvent(LogEvent::EVENT_DISABLED, event.strName);
}

std::string disabledState(const std::string& strEvent) {
  try {
    const std::vector<Event> vecEvents = namedEvents();
    const Event* const pEvent = findEvent(vecEvents, strEvent);
    if (pEvent == nullptr || pEvent->strUnit.empty()) {
      return {};
    }
    std::string strState = unitStates({pEvent->strUnit}).front().strInstalled;
    return strState == "disabled" || strState == "masked" ? strState : std::string();
  } catch (const Failure&) {
    // Callers have done their work: this is only a note.
    return {};
  }
}

}  // namespace Host
