#include "known_event.h"

#include <fmt/format.h>
#include <set>
#include <vector>

#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/suggestion.h"
#include "event_catalogue.h"

namespace Host {

void requireEvent(const Json::Value& jTasks, const std::string& strEvent) {
  std::set<std::string> setKnown;
  for (const Json::Value& jTask : jTasks) {
    setKnown.insert(textOf(jTask, "event"));
  }
  if (setKnown.count(strEvent) > 0) {
    return;
  }
  for (const Event& event : eventCatalogue()) {
    setKnown.insert(event.strName);
  }
  if (setKnown.count(strEvent) == 0) {
    throw Failure(
        fmt::format("there is no event \"{}\": no task is bound to it, and 'eorva event list' does not show it{}",
                    strEvent, didYouMean(strEvent, {setKnown.begin(), setKnown.end()})));
  }
}

}  // namespace Host
