#include "event_catalogue.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

#include "eorvascheduler.h"

#include "common/store/records.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/suggestion.h"

namespace Host {

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
  for (const Event& event : eventCatalogue()) {
    setKnown.insert(event.strName);
  }
  if (setKnown.count(strEvent) == 0) {
    const std::string strSuggestion = didYouMean(strEvent, {setKnown.begin(), setKnown.end()});
    throw Failure(fmt::format("there is no event \"{}\"{}", strEvent, strSuggestion),
                  {strSuggestion.empty() ? Hint::LIST_EVENTS : Hint::NONE});
  }
}

}  // namespace Host
