/// eorva event

#include "cli/context.h"

void addEventCommands(CLI::App& app, Context& context) {
  CLI::App* pEvent = addCommand(app, "event", "Show, plan, enable and disable events.", "  eorva event plan bootup\n");
  pEvent->require_subcommand(1);
  addEventStateCommands(*pEvent, context);
  addEventPlanCommand(*pEvent, context);
}
