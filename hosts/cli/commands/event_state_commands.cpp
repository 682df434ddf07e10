/// eorva event list|enable|disable

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/event_answers.h"
#include "common/events/event_state.h"
#include "common/events/event_switch.h"
#include "common/text/json_members.h"

using Host::Event;
using Host::EventState;
using Host::textOf;

namespace {

struct ListOptions {
  bool blJson = false;
};

struct NameOptions {
  std::vector<std::string> vecEvents;
};

std::string stateText(const EventState& row) {
  if (row.vecFiredBy.empty() || !row.state.blKnown) {
    return "-";
  }
  const std::string strInstalled = row.state.strInstalled.empty() ? "missing" : row.state.strInstalled;
  return row.state.strActive == "failed" ? strInstalled + ", failed" : strInstalled;
}

/// When it is fired, as far as somebody has said so.
std::string whenText(const Event& event) {
  if (!event.blOwn) {
    return event.jTitle.isNull() ? "-" : textOf(event.jTitle, "enu");
  }
  const std::string strDescription = textOf(event.jDescription, "enu");
  const std::string strTimes = fmt::format("{}", fmt::join(event.vecAt, ", "));
  if (strDescription.empty() || strTimes.empty()) {
    return strDescription.empty() && strTimes.empty() ? "-" : strDescription + strTimes;
  }
  return fmt::format("{} ({})", strDescription, strTimes);
}

int runList(const Context& context, const ListOptions& options) {
  const std::vector<EventState> vecRows = Host::eventStates();
  if (options.blJson) {
    printJson(Host::arrayOf(vecRows, &Host::eventForPrograms));
    return EXIT_DONE;
  }
  Table table({{"EVENT"}, {"STATE"}, {"TASKS", true}, {"NEXT"}, {"WHEN"}, {"FIRED BY", false, false, true}},
              context.isColored());
  for (const EventState& row : vecRows) {
    const bool blFailed = row.state.strActive == "failed";
    table.addRow({{row.event.strName},
                  {stateText(row), blFailed                              ? "red"
                                   : row.state.strInstalled == "enabled" ? "green"
                                                                         : nullptr},
                  {fmt::format("{}", row.cTasks)},
                  {row.iNext ? Host::timeText(*row.iNext) : "-"},
                  {whenText(row.event)},
                  {listText(row.vecFiredBy)}});
  }
  table.print();
  return EXIT_DONE;
}

int runEnable(const Context&, const NameOptions& options) {
  for (const Event& event : Host::requireSwitchable(options.vecEvents)) {
    Host::enableEvent(event);
    say("enabled {} ({})\n", event.strName, event.strUnit);
  }
  return EXIT_DONE;
}

int runDisable(const Context&, const NameOptions& options) {
  for (const Event& event : Host::requireSwitchable(options.vecEvents)) {
    Host::disableEvent(event);
    say("disabled {} ({})\n", event.strName, event.strUnit);
  }
  return EXIT_DONE;
}

}  // namespace

void addEventStateCommands(CLI::App& event, Context& context) {
  CLI::App* pCommand =
      addCommand(event, "list", "List the events: whether they are enabled, their tasks, and the next times.",
                 "  eorva event list --json\n");
  auto pList = onCommand(pCommand, context, &runList);
  pCommand->add_flag("--json", pList->blJson, "print a JSON array, with titles and descriptions in every language");

  pCommand = addCommand(event, "enable", "Start firing an event automatically.", "  eorva event enable daily weekly\n");
  auto pEnable = onCommand(pCommand, context, &runEnable);
  pCommand->add_option("event", pEnable->vecEvents, "one or more events")->required()->type_name("EVENT");

  pCommand = addCommand(event, "disable", "Stop firing an event automatically; 'eorva fire' still works.",
                        "  eorva event disable bootup\n");
  auto pDisable = onCommand(pCommand, context, &runDisable);
  pCommand->add_option("event", pDisable->vecEvents, "one or more events")->required()->type_name("EVENT");
}
