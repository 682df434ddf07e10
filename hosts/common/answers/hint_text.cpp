#include "hint_text.h"

#include <fmt/format.h>
#include <vector>

#include "command_text.h"
#include "common/server/systemd_units.h"

namespace Host {

std::string hintText(const Hint& hint) {
  switch (hint.kind) {
    case Hint::NONE:
      break;
    case Hint::CREATE_STORE:
      return "; create it with: eorva init";
    case Hint::RESTORE_STORE:
      return "; restore a backup with: eorva restore FILE; to begin without tasks: eorva init";
    case Hint::LIST_EVENTS:
      return "; list the events with: eorva event list";
    case Hint::ALLOW_ANY_EVENT:
      return fmt::format("\nto create the event, use: {}; or add --any-event",
                         eorvaCommand("event add", hint.vecNames));
    case Hint::ADD_EVENT:
      return "; to add it, use: " + eorvaCommand("event add", hint.vecNames);
    case Hint::ADD_EVENT_AT:
      return fmt::format("; to fire it at some time, use: {}; any other unit can start {}: see eorva-events(7)",
                         eorvaCommand("event add", hint.vecNames, " --at CALENDAR"), eventUnit(hint.vecNames.front()));
    case Hint::EDIT_EVENT:
      return "; to change it, use: " + eorvaCommand("event edit", hint.vecNames);
    case Hint::SWITCH_EVENT:
      return fmt::format("; to start or stop firing it, use: {} or {}", eorvaCommand("event enable", hint.vecNames),
                         eorvaCommand("event disable", hint.vecNames));
    case Hint::SET_TIMES:
      return "; to set them, use: " + eorvaCommand("event edit", hint.vecNames, " --at CALENDAR");
    case Hint::MOVE_TASKS:
      return "; delete them with: eorva task delete TASK; or give them another event with: eorva task edit TASK "
             "--event "
             "EVENT";
    case Hint::REPAIR:
      return "; to try again, use: eorva check --repair";
    case Hint::SET_OUTPUT_PATH:
      return "; to keep output, use: eorva config set --output-path SHARE";
    case Hint::RENAME_TASK:
      return "; to rename the task, use: " + eorvaCommand("task rename", hint.vecNames) + " NEW";
    case Hint::SET_WAITS_FOR:
      return "; set the tasks that it waits for with: " +
             waitsForCommand(hint.vecNames.front(), {hint.vecNames.begin() + 1, hint.vecNames.end()});
    case Hint::NAME_EVENT:
      return "; add --event EVENT";
    case Hint::PREFIX_NAMES:
      return "\nto import them anew, delete these first; to have both, add --prefix cron-";
    case Hint::NAME_TABLE_OWNER:
      return "\nfor the table of one user, as 'crontab -l' prints it, add --owner USER";
    case Hint::SET_OWNER:
      return "; set its owner with: " + ownerCommand(hint.vecNames.front(), hint.vecNames.back());
    case Hint::RESTORE_BACKUP:
      return "; for the commands that move it aside and restore a backup, use: eorva check";
    case Hint::REPLACE_BACKUP:
      return "; to replace it, add --allow-empty";
    case Hint::KEEP_OWNER_IDS:
      return "\nto restore these ids, add --owners-as-numbered; then set the owners with: eorva task edit TASK --owner "
             "USER";
  }
  return {};
}

}  // namespace Host
