#include "hint_text.h"

#include <vector>

#include "command_text.h"

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
      return "\nto create the event, add --any-event";
    case Hint::SET_OUTPUT_PATH:
      return "; to keep output, use: eorva config set --output-path SHARE";
    case Hint::RENAME_TASK:
      return "; to rename the task, use: " + eorvaCommand("task rename", hint.vecNames) + " NEW";
    case Hint::SET_WAITS_FOR:
      return "; set the tasks that it waits for with: " +
             waitsForCommand(hint.vecNames.front(), {hint.vecNames.begin() + 1, hint.vecNames.end()});
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
