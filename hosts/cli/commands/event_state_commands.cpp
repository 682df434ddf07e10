/// eorva event list|enable|disable

#include <algorithm>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <iterator>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "common/events/event_catalogue.h"
#include "common/events/event_state.h"
#include "common/server/systemd_units.h"
#include "common/support/failure.h"
#include "common/text/json_members.h"
#include "common/text/suggestion.h"

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

Json::Value eventForPrograms(const EventState& row) {
  Json::Value jEvent(Json::objectValue);
  jEvent["name"] = row.event.strName;
  jEvent["title"] = row.event.jTitle;
  jEvent["description"] = row.event.jDescription;
  jEvent["in_catalogue"] = row.blInCatalogue;
  jEvent["tasks"] = row.cTasks;
  jEvent["enabled"] = row.state.strInstalled == "enabled";
  jEvent["active"] = row.state.strActive.empty() ? Json::Value() : Json::Value(row.state.strActive);
  jEvent["fired_by"] = Json::Value(Json::arrayValue);
  for (const std::string& strUnit : row.vecFiredBy) {
    jEvent["fired_by"].append(strUnit);
  }
  return jEvent;
}

int runList(const Context& context, const ListOptions& options) {
  const std::vector<EventState> vecRows = Host::eventStates();
  if (options.blJson) {
    Json::Value jOut(Json::arrayValue);
    for (const EventState& row : vecRows) {
      jOut.append(eventForPrograms(row));
    }
    printJson(jOut);
    return EXIT_DONE;
  }
  Table table({{"EVENT"}, {"STATE"}, {"TASKS", true}, {"FIRED BY"}, {"WHEN", false, false, true}}, context.isColored());
  for (const EventState& row : vecRows) {
    const bool blFailed = row.state.strActive == "failed";
    table.addRow({{row.event.strName},
                  {stateText(row), blFailed                              ? "red"
                                   : row.state.strInstalled == "enabled" ? "green"
                                                                         : nullptr},
                  {fmt::format("{}", row.cTasks)},
                  {row.vecFiredBy.empty() ? "-" : fmt::format("{}", fmt::join(row.vecFiredBy, ", "))},
                  {row.blInCatalogue ? textOf(row.event.jTitle, "enu") : "-"}});
  }
  table.print();
  return EXIT_DONE;
}

std::vector<std::string> namesOf(const std::vector<Event>& vecEvents) {
  std::vector<std::string> vecNames;
  std::transform(vecEvents.begin(), vecEvents.end(), std::back_inserter(vecNames),
                 [](const Event& event) { return event.strName; });
  return vecNames;
}

/// \throw Failure when nothing that is installed fires the event.
Event requireFiredEvent(const std::string& strEvent) {
  const std::vector<Event> vecEvents = Host::eventCatalogue();
  const auto it =
      std::find_if(vecEvents.begin(), vecEvents.end(), [&](const Event& event) { return event.strName == strEvent; });
  if (it == vecEvents.end()) {
    throw Host::Failure(
        fmt::format("there is no event \"{0}\" in the catalogue ('eorva event list' shows it); an event of your own is "
                    "fired by a timer, a path unit or a rule that starts {1}: see 'man eorva-events'{2}",
                    strEvent, Host::eventUnit(strEvent), Host::didYouMean(strEvent, namesOf(vecEvents))));
  }
  if (it->strUnit.empty()) {
    throw Host::Failure(fmt::format("the catalogue names no unit that fires the event \"{}\"", strEvent));
  }
  return *it;
}

/// All names are looked at before anything is changed.
std::vector<Event> requireFiredEvents(const std::vector<std::string>& vecNames) {
  std::vector<Event> vecEvents;
  std::transform(vecNames.begin(), vecNames.end(), std::back_inserter(vecEvents), &requireFiredEvent);
  return vecEvents;
}

int runEnable(const Context&, const NameOptions& options) {
  for (const Event& event : requireFiredEvents(options.vecEvents)) {
    Host::enableUnit(event.strUnit, !event.blAtUnitStart);
    fmt::print("enabled {} ({})\n", event.strName, event.strUnit);
  }
  return EXIT_DONE;
}

int runDisable(const Context&, const NameOptions& options) {
  for (const Event& event : requireFiredEvents(options.vecEvents)) {
    Host::disableUnit(event.strUnit);
    fmt::print("disabled {} ({})\n", event.strName, event.strUnit);
  }
  return EXIT_DONE;
}

}  // namespace

void addEventStateCommands(CLI::App& event, Context& context) {
  auto pList = std::make_shared<ListOptions>();
  CLI::App* pCommand = addCommand(event, "list", "List the events, what fires them, and how many tasks they have.",
                                  "  eorva event list --json\n");
  pCommand->add_flag("--json", pList->blJson, "as JSON: with titles and descriptions in every language");
  onCommand(pCommand, context, pList, &runList);

  auto pEnable = std::make_shared<NameOptions>();
  pCommand = addCommand(event, "enable", "Let an event be fired, from now on.", "  eorva event enable daily weekly\n");
  pCommand->add_option("event", pEnable->vecEvents, "the event; several may be given")->required()->type_name("EVENT");
  onCommand(pCommand, context, pEnable, &runEnable);

  auto pDisable = std::make_shared<NameOptions>();
  pCommand = addCommand(event, "disable", "Let an event not be fired any more; 'eorva fire' still does.",
                        "  eorva event disable bootup\n");
  pCommand->add_option("event", pDisable->vecEvents, "the event; several may be given")->required()->type_name("EVENT");
  onCommand(pCommand, context, pDisable, &runDisable);
}
