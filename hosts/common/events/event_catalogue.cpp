#include "event_catalogue.h"

#include "eorvascheduler.h"

#include "common/support/failure.h"
#include "common/text/json_members.h"

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

}  // namespace Host
