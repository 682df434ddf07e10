/// eorva event plan

#include <ctime>
#include <fmt/format.h>
#include <fmt/ranges.h>

#include "cli/context.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "common/answers/event_answers.h"
#include "common/events/event_catalogue.h"
#include "common/reasons/event_plan.h"
#include "common/store/records.h"

using Host::BlockedTask;
using Host::EventPlan;
using Host::PlannedTask;

namespace {

struct PlanOptions {
  std::string strEvent;
  bool blJson = false;
};

std::string endText(const EventPlan& plan) {
  return fmt::format("{} after {}, at {}", plan.blExact ? "would end" : "would end at the earliest",
                     Host::elapsedText(plan.iDuration), Host::timeText(std::time(nullptr) + plan.iDuration));
}

void printPlanned(const EventPlan& plan, const OwnerNames& owners, bool blColor) {
  Table table({{"WAVE", true}, {"TASK"}, {"OWNER"}, {"WAITS FOR"}, {"LAST TIME", true}, {"STARTS AFTER", true}},
              blColor);
  for (const PlannedTask& planned : plan.vecTasks) {
    table.addRow({{std::to_string(planned.uWave)},
                  {planned.task.strName},
                  {owners.at(planned.task.strName)},
                  {waitsForText(planned.task.vecWaitsFor, planned.task.blOnlyAfterSuccess)},
                  {planned.iLastDuration ? Host::elapsedText(*planned.iLastDuration) : "-"},
                  {Host::elapsedText(planned.iStart)}});
  }
  table.print();
}

void printPlan(const Context& context, const std::string& strEvent, const EventPlan& plan, const OwnerNames& owners) {
  if (!plan.vecProblems.empty()) {
    say("nothing would be started: these tasks cannot be run safely:\n");
    for (const std::string& strProblem : plan.vecProblems) {
      say("  {}\n", strProblem);
    }
  } else if (plan.vecTasks.empty()) {
    say("nothing would be started\n");
  } else {
    printPlanned(plan, owners, context.isColored());
    say("event {}: {}, {}\n", strEvent, countText(plan.vecTasks.size(), "task"), endText(plan));
  }
  if (!plan.vecBlocked.empty()) {
    say("would not be started:\n");
  }
  for (const BlockedTask& blocked : plan.vecBlocked) {
    printReasons(blocked.strName, blocked.strName, blocked.vecReasons);
  }
}

int runPlan(const Context& context, const PlanOptions& options) {
  const Host::OpenStore session;
  Host::requireEvent(session, options.strEvent);
  const Json::Value jTasks = Host::listTaskMembers(session, Host::PLAN_MEMBERS);
  const OwnerNames owners = ownerNames(jTasks);
  const EventPlan plan = Host::planEvent(session, jTasks, options.strEvent);
  if (options.blJson) {
    printJson(Host::planForPrograms(options.strEvent, plan, owners));
  } else {
    printPlan(context, options.strEvent, plan, owners);
    printNote(Host::disabledEventNote(options.strEvent));
  }
  return EXIT_DONE;
}

}  // namespace

void addEventPlanCommand(CLI::App& event, Context& context) {
  CLI::App* pCommand = addCommand(
      event, "plan", "Show which tasks an event would start now, in which order, and which ones it would skip.",
      "  eorva event plan bootup\n"
      "  eorva event plan shutdown --json\n");
  auto pOptions = onCommand(pCommand, context, &runPlan);
  pCommand->add_option("event", pOptions->strEvent, "the event")->required()->type_name("EVENT");
  pCommand->add_flag("--json", pOptions->blJson, "print a JSON object");
}
