/// eorva fire|run

#include <ctime>
#include <fmt/format.h>

#include "cli/execute.h"
#include "cli/terminal/present.h"
#include "cli/terminal/say.h"
#include "cli/usage.h"
#include "common/answers/run_answers.h"
#include "common/config/settings.h"
#include "common/coordination/start_ticket.h"
#include "common/events/event_environment.h"
#include "common/executions/detached_start.h"
#include "common/executions/service_process.h"
#include "common/executions/start_execution.h"
#include "common/support/failure.h"

namespace {

struct ExecuteOptions {
  std::string strName;
  std::vector<std::string> vecEnvironment;
  Json::Int64 iBudget = 0;
  Json::Int64 iFiredAt = 0;
  std::string strTicket;
  bool blDetach = false;
  bool blLeaveNothing = false;
  bool blService = false;
  bool blJson = false;
};

Host::ExecutionRequest requestOf(const ExecuteOptions& options, bool blByEvent) {
  Host::ExecutionRequest request;
  request.blByEvent = blByEvent;
  request.strName = options.strName;
  request.firedAt = options.iFiredAt > 0 ? static_cast<std::time_t>(options.iFiredAt) : std::time(nullptr);
  request.budget = std::chrono::seconds(options.iBudget);
  request.blLeaveNothing = options.blLeaveNothing;
  request.blService = options.blService;
  for (const std::string& strText : options.vecEnvironment) {
    request.vecEnvironment.push_back(Host::parseVariable(strText));
  }
  return request;
}

/// Takes the variables from the ticket of a service. systemd may start it twice when its answer was lost, or after its
/// starter gave up.
/// \return false when it must not start.
bool takeTicket(ExecuteOptions& options) {
  if (options.strTicket.empty()) {
    return true;
  }
  if (std::optional<std::vector<std::string>> variables = Host::StartTicket::take(options.strTicket)) {
    options.vecEnvironment = std::move(*variables);
    return true;
  }
  printNote(
      fmt::format("\"{}\" was not started: it has started already, or this request is too late", options.strName));
  return false;
}

int detach(const Host::ExecutionRequest& request, bool blJson) {
  const Host::DetachedStart start = Host::startDetached(request, &tellPrepared);
  const bool blUnit = !start.strUnit.empty();
  if (!blUnit && start.pid == 0) {
    printNothingRun(request, blJson);
  } else if (blJson) {
    printJson(Host::startForPrograms(request, start));
  } else {
    say("{} {}: started in {}\n", request.kind(), request.strName,
        blUnit ? start.strUnit : fmt::format("process {}", start.pid));
  }
  return EXIT_DONE;
}

int start(const Context& context, ExecuteOptions options, bool blByEvent) {
  if (!takeTicket(options)) {
    return EXIT_DONE;
  }
  const Host::ExecutionRequest request = requestOf(options, blByEvent);
  Host::checkRequest(request, options.blDetach);
  if (options.blDetach) {
    return detach(request, options.blJson);
  }
  if (options.blService) {
    const int iResult = Host::runAsService(
        [&](Host::ServiceProcess& service) { return execute(context, request, options.blJson, &service); });
    return iResult == EXIT_TASK_FAILED && !Host::unitFailsSetting() ? EXIT_DONE : iResult;
  }
  return execute(context, request, options.blJson);
}

int runFire(const Context& context, const ExecuteOptions& options) {
  if (options.strName.empty()) {
    throw Host::UsageFailure("fire: the name of the event is empty");
  }
  return start(context, options, true);
}

int runRun(const Context& context, const ExecuteOptions& options) {
  return start(context, options, false);
}

void addCommonOptions(CLI::App* pCommand, ExecuteOptions& options) {
  pCommand->add_option("--env", options.vecEnvironment, "set an environment variable for the scripts; can be repeated")
      ->type_name("KEY=VALUE")
      ->allow_extra_args(false);
  pCommand->add_flag("--detach", options.blDetach, "run in the background, as a service where systemd runs");
  pCommand->add_option("--budget", options.iBudget, "end all runs after this time")
      ->type_name("DURATION")
      ->transform(durationWithin(1, 366 * 86400));
  pCommand->add_flag("--leave-nothing", options.blLeaveNothing,
                     "end background processes of the scripts when the last task has ended");
  // For the service that --detach starts.
  pCommand->add_option("--fired-at", options.iFiredAt)->group("");
  pCommand->add_option("--ticket", options.strTicket)->group("");
  pCommand->add_flag("--as-service", options.blService)->group("");
}

}  // namespace

void addExecuteCommands(CLI::App& app, Context& context) {
  CLI::App* pCommand = addCommand(app, "fire", "Run the tasks of an event; wait until the last one has ended.",
                                  "  eorva fire bootup            exits with 3 when a task failed\n"
                                  "  eorva fire bootup --json     prints all runs when the last one has ended\n"
                                  "  eorva fire disk_attached --env EORVA_DISK=/dev/sdb --detach\n"
                                  "  eorva fire shutdown --budget 5m --leave-nothing\n");
  auto pFire = onCommand(pCommand, context, &runFire);
  pCommand->add_option("event", pFire->strName, "the event")->required()->type_name("EVENT");
  addCommonOptions(pCommand, *pFire);
  pCommand->add_flag("--json", pFire->blJson,
                     "print the runs as JSON when all have ended; with --detach, the unit or process");

  pCommand =
      addCommand(app, "run", "Run one task now, and wait until it has ended; tasks that wait for it do not start.",
                 "  eorva run disk-usage\n"
                 "  eorva run disk-usage --detach\n");
  auto pRun = onCommand(pCommand, context, &runRun);
  pCommand->add_option("task", pRun->strName, "its name")->required()->type_name("TASK");
  addCommonOptions(pCommand, *pRun);
  pCommand->add_flag("--json", pRun->blJson,
                     "print the run as JSON when it has ended; with --detach, the unit or process");
}
