#include "event_note.h"

#include <algorithm>
#include <fmt/format.h>
#include <vector>

#include "common/event_catalogue.h"
#include "common/failure.h"
#include "common/shell_word.h"
#include "common/systemctl.h"
#include "present.h"

void noteDisabledEvent(const std::string& strEvent) {
  try {
    const std::vector<Host::Event> vecEvents = Host::eventCatalogue();
    const auto it = std::find_if(vecEvents.begin(), vecEvents.end(),
                                 [&](const Host::Event& event) { return event.strName == strEvent; });
    if (it == vecEvents.end() || it->strUnit.empty()) {
      return;
    }
    const std::string strState = Host::unitStates({it->strUnit}).front().strInstalled;
    if (strState == "disabled" || strState == "masked") {
      printNote(
          fmt::format("the event \"{}\" is {}: eorva event enable {}", strEvent, strState, Host::shellWord(strEvent)));
    }
  } catch (const Host::Failure&) {
    // What was asked for has been done all the same.
    return;
  }
}
