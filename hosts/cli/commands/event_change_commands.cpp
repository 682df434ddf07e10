/// eorva event add|edit|remove

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <optional>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/events/change_event.h"
#include "common/server/systemd_units.h"
#include "common/support/failure.h"

namespace {

struct AddOptions {
  std::string strEvent;
  std::string strDescription;
  std::vector<std::string> vecAt;
};

struct EditOptions {
  std::string strEvent;
  std::optional<std::string> strDescription;
  std::vector<std::string> vecAt;
  bool blNoAt = false;
};

struct RemoveOptions {
  std::vector<std::string> vecEvents;
};

/// Tells when the event is fired: ": Mon..Fri 22:30".
std::string whenText(const Host::EventSettings& settings) {
  if (settings.vecAt.empty()) {
    return {};
  }
  return fmt::format(": {}{}", fmt::join(settings.vecAt, ", "), settings.blEnabled ? "" : " (disabled)");
}

void sayStored(const char* szDone, const std::string& strEvent, const Host::EventStored& stored) {
  for (const std::string& strWarning : stored.vecWarnings) {
    printNote(fmt::format("warning: event \"{}\": {}", strEvent, strWarning));
  }
  say("{} the event {}{}\n", szDone, strEvent, whenText(stored.settings));
  if (!stored.settings.vecAt.empty() && stored.settings.blEnabled && !Host::isSystemdRunning()) {
    printNote("systemd does not run here; the event is fired at its times as soon as it does");
  }
}

int runAdd(const Context&, const AddOptions& options) {
  sayStored("added", options.strEvent, Host::addEvent(options.strEvent, {options.strDescription, options.vecAt, true}));
  return EXIT_DONE;
}

int runEdit(const Context&, const EditOptions& options) {
  Host::EventChange change;
  change.strDescription = options.strDescription;
  if (!options.vecAt.empty() || options.blNoAt) {
    change.vecAt = options.vecAt;
  }
  if (!change.strDescription && !change.vecAt) {
    throw Host::UsageFailure("event edit: nothing to change; add --at, --no-at or --description");
  }
  sayStored("changed", options.strEvent, Host::changeEvent(options.strEvent, change));
  return EXIT_DONE;
}

int runRemove(const Context&, const RemoveOptions& options) {
  for (const std::string& strEvent : options.vecEvents) {
    Host::removeEvent(strEvent);
    say("removed the event {}\n", strEvent);
  }
  return EXIT_DONE;
}

CLI::Option* addTimes(CLI::App* pCommand, std::vector<std::string>& vecAt) {
  return pCommand
      ->add_option("--at", vecAt, "fire it at these times, as in \"Mon..Fri 22:30\" (systemd.time(7)); can be repeated")
      ->type_name("CALENDAR")
      ->expected(1)
      ->take_all()
      ->allow_extra_args(false);
}

}  // namespace

void addEventChangeCommands(CLI::App& event, Context& context) {
  CLI::App* pCommand =
      addCommand(event, "add", "Add an event of your own; with --at, systemd fires it at these times.",
                 "  eorva event add nightly --at \"Mon..Fri 22:30\" --description \"After office hours\"\n"
                 "  eorva event add shifts --at \"*-*-* 06:00\" --at \"*-*-* 18:00\"\n"
                 "  eorva event add inbox                 fired by 'eorva fire inbox' or a unit: eorva-events(7)\n");
  auto pAdd = onCommand(pCommand, context, &runAdd);
  pCommand->add_option("event", pAdd->strEvent, "name of the event")->required()->type_name("NAME");
  addTimes(pCommand, pAdd->vecAt);
  pCommand->add_option("--description", pAdd->strDescription, "description, one line")->type_name("TEXT");

  pCommand = addCommand(event, "edit", "Change the times or the description of an event of your own.",
                        "  eorva event edit weeknights --at \"Mon..Fri 23:00\"\n"
                        "  eorva event edit weeknights --no-at --description \"By hand only\"\n");
  auto pEdit = onCommand(pCommand, context, &runEdit);
  pCommand->add_option("event", pEdit->strEvent, "the event")->required()->type_name("OWN-EVENT");
  CLI::Option* pAt = addTimes(pCommand, pEdit->vecAt);
  pCommand->add_flag("--no-at", pEdit->blNoAt, "no times: only a command or a unit fires it")->excludes(pAt);
  pCommand->add_option("--description", pEdit->strDescription, "description, one line")->type_name("TEXT");

  pCommand = addCommand(event, "remove", "Remove an event of your own, and its timer. It must have no tasks.",
                        "  eorva event remove weeknights\n");
  auto pRemove = onCommand(pCommand, context, &runRemove);
  pCommand->add_option("event", pRemove->vecEvents, "one or more events")->required()->type_name("OWN-EVENT");
}
