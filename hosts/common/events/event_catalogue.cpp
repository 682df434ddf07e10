#include "event_catalogue.h"

#include <algorithm>
#include <fmt/format.h>

#include "eorvascheduler.h"

#include "common/server/systemd_units.h"
#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/suggestion.h"
#include "own_events.h"

namespace Host {

namespace {

/// The description of an own event is in one language only, which counts as the default one.
Event ownEvent(const std::string& strEvent, const EventSettings& settings) {
  Event event{strEvent, {}, {}, settings.vecAt.empty() ? "" : eventTimer(strEvent), false, true, settings.vecAt};
  if (!settings.strDescription.empty()) {
    event.jDescription = objectOf({{"enu", settings.strDescription}});
  }
  return event;
}

}  // namespace

std::vector<Event> eventCatalogue() {
  Json::Value jCatalogue;
  if (eventList(jCatalogue) < 0 || !jCatalogue.isArray()) {
    throw Failure("cannot read the event catalogue /usr/orva/share/eorvascheduler/eorvascheduler-event.json");
  }
  std::vector<Event> vecEvents;
  for (const Json::Value& jEntry : jCatalogue) {
    if (!textOf(jEntry, "name").empty()) {
      vecEvents.push_back({textOf(jEntry, "name"), memberOf(jEntry, "title"), memberOf(jEntry, "description"),
                           textOf(jEntry, "fired_by"), boolOf(jEntry, "fired_at_unit_start")});
    }
  }
  return vecEvents;
}

std::set<std::string> catalogueNames() {
  std::set<std::string> setNames;
  for (const Event& event : eventCatalogue()) {
    setNames.insert(event.strName);
  }
  return setNames;
}

std::vector<Event> namedEvents() {
  std::vector<Event> vecEvents = eventCatalogue();
  for (const auto& [strEvent, settings] : readOwnEvents()) {
    // A later version may bring an event of the same name.
    if (findEvent(vecEvents, strEvent) == nullptr) {
      vecEvents.push_back(ownEvent(strEvent, settings));
    }
  }
  return vecEvents;
}

const Event* findEvent(const std::vector<Event>& vecEvents, const std::string& strEvent) {
  const auto it =
      std::find_if(vecEvents.begin(), vecEvents.end(), [&](const Event& event) { return event.strName == strEvent; });
  return it == vecEvents.end() ? nullptr : &*it;
}

void requireEvent(Session& session, const std::string& strEvent) {
  if (!taskNames(session, strEvent).empty()) {
    return;
  }
  std::set<std::string> setKnown = eventNames(session);
  for (const Event& event : namedEvents()) {
    setKnown.insert(event.strName);
  }
  if (setKnown.count(strEvent) == 0) {
    const std::string strSuggestion = didYouMean(strEvent, {setKnown.begin(), setKnown.end()});
    throw Failure(fmt::format("there is no event \"{}\"{}", strEvent, strSuggestion),
                  {strSuggestion.empty() ? Hint::LIST_EVENTS : Hint::NONE});
  }
}

}  // namespace Host
