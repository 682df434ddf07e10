/// eorva event

#include "cli/context.h"

void addEventCommands(CLI::App& app, Context& context) {
  CLI::App* pEvent = addCommand(app, "event", "Show, add, plan, enable and disable events.",
                                "  eorva event list\n"
                                "  eorva event add nightly --at \"Mon..Fri 22:30\"\n");
  pEvent->require_subcommand(1);
  addEventStateCommands(*pEvent, context);
  addEventChangeCommands(*pEvent, context);
  addEventPlanCommand(*pEvent, context);
}
