#include "event_switch.h"

#include <algorithm>
#include <fmt/format.h>
#include <vector>

#include "common/server/systemd_units.h"
#include "common/support/failure.h"
#include "common/text/shell_word.h"
#include "event_catalogue.h"

namespace Host {

std::string disabledEventNote(const std::string& strEvent) {
  try {
    const std::vector<Event> vecEvents = eventCatalogue();
    const auto it =
        std::find_if(vecEvents.begin(), vecEvents.end(), [&](const Event& event) { return event.strName == strEvent; });
    if (it == vecEvents.end() || it->strUnit.empty()) {
      return {};
    }
    const std::string strState = unitStates({it->strUnit}).front().strInstalled;
    if (strState == "disabled" || strState == "masked") {
      return fmt::format("the event \"{}\" is {}: eorva event enable {}", strEvent, strState, shellWord(strEvent));
    }
  } catch (const Failure&) {
    // The command has done its work: a note that cannot be made is no failure.
  }
  return {};
}

}  // namespace Host
