#include "event_switch.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>

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
        fmt::format("there is no event \"{0}\" in the catalogue{1}; an event of your own is fired by a timer, a path "
                    "unit or a udev rule that starts {2}: see eorva-events(7)",
                    strEvent, didYouMean(strEvent, vecNames), eventUnit(strEvent)));
  }
  if (pEvent->strUnit.empty()) {
    throw Failure(fmt::format("the catalogue names no unit that fires the event \"{}\"", strEvent));
  }
  return *pEvent;
}

}  // namespace

std::vector<Event> requireSwitchable(const std::vector<std::string>& vecNames) {
  const std::vector<Event> vecCatalogue = eventCatalogue();
  std::vector<Event> vecEvents;
  std::transform(vecNames.begin(), vecNames.end(), std::back_inserter(vecEvents),
                 [&](const std::string& strEvent) { return requireOne(vecCatalogue, strEvent); });
  return vecEvents;
}

void enableEvent(const Event& event) {
  enableUnit(event.strUnit, !event.blAtUnitStart);
}

void disableEvent(const Event& event) {
  disableUnit(event.strUnit);
}

std::string disabledState(const std::string& strEvent) {
  try {
    const std::vector<Event> vecEvents = eventCatalogue();
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
